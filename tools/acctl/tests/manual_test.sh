exit 77
