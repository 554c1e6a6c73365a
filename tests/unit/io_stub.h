// io_stub - read, send and chmod of the daemon's code under a test's thumb.
//
// Calls are the real ones but for those that a script foresees: the next call takes the next step.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <functional>
#include <vector>

struct io_step {
    ssize_t result; // -1: the call fails with `error`; else it is the real one, for that many bytes at most
    int error = 0;
};

// Replace what is left of an earlier script.
void io_script_read(std::vector<io_step> steps);
void io_script_send(std::vector<io_step> steps);
std::size_t io_steps_left(); // of both

// Looks at the world before each send from here on, in the thread that sends; an empty one looks no more.
void io_before_send(std::function<void()> look);

// The permissions of each file that chmod was called for, as they were before it.
const std::vector<mode_t>& io_modes_before_chmod();
