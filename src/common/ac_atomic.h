// ac_atomic - relaxed access to plain fields that several threads touch without a lock.
//
// For scalars of raw records whose readers tolerate an older value: each access is whole, no order is promised. The
// field must be naturally aligned, which the static_asserts beside the records secure.
#pragma once

#include <atomic>

#include "common/ac_types.h"

template <typename T> T ac_load(const T& field)
{
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}

template <typename T> void ac_store(T& field, T value)
{
    std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}

template <typename T> T ac_add(T& field, T value)
{
    return std::atomic_ref<T>(field).fetch_add(value, std::memory_order_relaxed);
}
