// libc_stub - calls of the C library by the daemon's code under a test's thumb. Unless told otherwise they are real.
#pragma once

#include <functional>
#include <utility>
#include <vector>

// ioctl fails with ENODEV for this request from here on; 0: for none.
void ioctl_refuse(unsigned long request);

// Parameter and value of each mallopt since the start of the process, in order.
const std::vector<std::pair<int, int>>& mallopt_calls();

// Runs once, behind the next sem_post, on the thread that posts.
void after_next_sem_post(std::function<void()> action);
