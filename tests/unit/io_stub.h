// io_stub - read, send, chmod and socket calls of the daemon's code under a test's thumb.
//
// Calls are the real ones but for those that a script foresees: the next call takes the next step.
#pragma once

#include <sys/socket.h>
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

// Runs before the next send, once, in the thread that sends; an empty one takes it back.
void io_before_send(std::function<void()> look);

// The permissions of each file that chmod was called for, as they were before it.
const std::vector<mode_t>& io_modes_before_chmod();

// setsockopt fails with EINVAL for this option from here on; 0: for none.
void io_refuse_option(int option);
// The receive buffer that was asked for last; -1 where none was.
int io_last_receive_buffer();

// The length of the address that the latest accept4 asked for.
socklen_t io_last_accept_length();
