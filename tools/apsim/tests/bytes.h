// bytes - frames written and read as text, and what a model sends caught in memory.
#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "ap_model.h"

namespace apsim {

// Digits of hexadecimal; blanks between them are for the reader.
inline Bytes hex(std::string_view text)
{
    std::string digits;
    for (char c : text)
        if (c != ' ') digits += c;
    Bytes out;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        out.push_back(static_cast<UINT8>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return out;
}

inline Bytes zeros(std::size_t count)
{
    return Bytes(count, 0);
}

inline Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline std::string shown(ByteView bytes)
{
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

struct CaughtSink : ApSink {
    std::vector<Bytes> sent;
    std::vector<std::pair<Exchange, micros>> times;
    void send(ByteView datagram) override { sent.emplace_back(datagram.begin(), datagram.end()); }
    void answered(Exchange exchange, micros time_taken) override { times.emplace_back(exchange, time_taken); }

    Bytes take() // the one frame sent since the last take
    {
        if (sent.size() != 1) return {};
        Bytes frame = sent.front();
        sent.clear();
        return frame;
    }
};

} // namespace apsim
