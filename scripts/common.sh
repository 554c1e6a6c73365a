# shellcheck shell=bash
# What the scripts share; sourced, not run. Leaves the shell in the project's folder.

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT" || exit 1

# Compile jobs: the processors, at most 8 so that memory stays enough. WTP_JOBS overrides.
JOBS=${WTP_JOBS:-$(nproc)}
[[ $JOBS =~ ^[1-9][0-9]*$ ]] || {
  echo "WTP_JOBS: \"$JOBS\" is no number of jobs" >&2
  exit 2
}
[[ -n ${WTP_JOBS:-} || $JOBS -le 8 ]] || JOBS=8

die() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

usage_error() {
  echo "$(basename "$0"): $*; --help tells more" >&2
  exit 2
}
