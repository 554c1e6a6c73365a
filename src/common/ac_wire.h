// ac_wire - bounded reading and writing of raw images.
//
// Shape    wire_reader walks a received buffer, wire_writer fills one. `bad` latches at the first access that does not
//          fit; everything later reads zeros or writes nothing, so a caller takes all fields and asks once.
// Threads  values; no state of their own.
#pragma once

#include <cstring>
#include <span>
#include <type_traits>

#include "common/ac_types.h"

struct wire_reader {
    std::span<const UINT8> left;
    bool bad = false;
};

// The next sizeof(T) bytes as a T; a payload has no alignment, so they are copied, never cast.
template <typename T> T wire_take(wire_reader& reader)
{
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    reader.bad = reader.bad || reader.left.size() < sizeof(T);
    if (reader.bad) return value;
    memcpy(&value, reader.left.data(), sizeof(T));
    reader.left = reader.left.subspan(sizeof(T));
    return value;
}

inline void wire_skip(wire_reader& reader, std::size_t count)
{
    reader.bad = reader.bad || reader.left.size() < count;
    if (!reader.bad) reader.left = reader.left.subspan(count);
}

// The next `count` bytes where they lie, or an empty span.
inline std::span<const UINT8> wire_take_bytes(wire_reader& reader, std::size_t count)
{
    reader.bad = reader.bad || reader.left.size() < count;
    if (reader.bad) return {};
    const std::span<const UINT8> taken = reader.left.first(count);
    reader.left = reader.left.subspan(count);
    return taken;
}

// A T at `offset` of `bytes`; zeroed, with `ok` false, where it does not fit.
template <typename T> T wire_at(std::span<const UINT8> bytes, std::size_t offset, bool& ok)
{
    wire_reader reader{bytes};
    wire_skip(reader, offset);
    T value = wire_take<T>(reader);
    if (reader.bad) ok = false;
    return value;
}

struct wire_writer {
    std::span<UINT8> left;
    bool bad = false;
};

inline void wire_put_bytes(wire_writer& writer, const void* bytes, std::size_t count)
{
    writer.bad = writer.bad || writer.left.size() < count;
    if (writer.bad || count == 0) return;
    memcpy(writer.left.data(), bytes, count);
    writer.left = writer.left.subspan(count);
}

template <typename T> void wire_put(wire_writer& writer, const T& value)
{
    static_assert(std::is_trivially_copyable_v<T>);
    wire_put_bytes(writer, &value, sizeof(T));
}

// Moves on over `count` bytes as they are; the buffers of the system start out zeroed.
inline void wire_pad(wire_writer& writer, std::size_t count)
{
    writer.bad = writer.bad || writer.left.size() < count;
    if (!writer.bad) writer.left = writer.left.subspan(count);
}
