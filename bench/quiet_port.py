"""A UDP port for a controller under measurement."""
import random
import socket


def quiet_port():
    """Free, and outside the range that the system hands out: a simulated AP can't get it while the controller restarts."""
    while True:
        port = random.randrange(20000, 32000)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            try:
                probe.bind(("", port))
            except OSError:
                continue
            return port
