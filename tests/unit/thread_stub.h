// thread_stub - pthread_create of the daemon's code under a test's thumb.
//
// Unless told otherwise threads are real. Pretended ones are only noted: none runs.
#pragma once

#include <functional>
#include <vector>

typedef void* (*thread_entry)(void*);

// From here on threads are only noted; the one after `before_failure` more fails (a negative count: none does), and
// `at_failure` runs then.
void threads_pretend(int before_failure = -1, std::function<void()> at_failure = nullptr);
void threads_real();

// The entries asked for since threads_pretend, in order, the failed one included.
const std::vector<thread_entry>& threads_asked_for();
