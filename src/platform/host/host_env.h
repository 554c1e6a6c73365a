// host_env - what the environment said at the start, for the files of this folder.
//
// Threads  written by platform_init alone, before any thread; read by all without a lock.
#pragma once

#include <net/if.h>
#include <sys/un.h>

struct host_environment {
    bool root_set; // AC_ROOT was given, be it "/"
    char root[sizeof(
        sockaddr_un::sun_path)]; // absolute, without a slash at its end; empty for the appliance's own paths
    char lan_if[IFNAMSIZ];       // never empty
};

const struct host_environment& host_env();

// An absolute path whose ".." would lead above its first folder.
bool host_path_climbs(const char* path);
