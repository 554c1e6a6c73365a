// endpoint - addresses as a user writes them. Declared in fleet.h.
#include <arpa/inet.h>

#include <charconv>
#include <stdexcept>

#include <fmt/format.h>

#include "fleet.h"

namespace apsim {

sockaddr_in endpoint(const std::string& text)
{
    const std::size_t colon = text.find(':');
    const std::string ip = text.substr(0, colon);
    UINT32 port = AC_DEFAULT_PORT;
    if (colon != std::string::npos) {
        const char* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, port);
        if (error != std::errc{} || stop != end || port == 0 || port > 65535)
            throw std::invalid_argument(fmt::format("\"{}\": the port must be a number from 1 to 65535", text));
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<UINT16>(port));
    if (inet_pton(AF_INET, ip.c_str(), &address.sin_addr) != 1)
        throw std::invalid_argument(fmt::format("\"{}\" is no address; write it as 192.0.2.1:5000", text));
    return address;
}

std::string to_string(const sockaddr_in& address)
{
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
    return fmt::format("{}:{}", text, ntohs(address.sin_port));
}

Mac parse_mac(const std::string& text)
{
    Mac mac{};
    bool good = text.size() == 17;
    for (std::size_t i = 0; good && i < mac.size(); i++) {
        const char* from = text.data() + i * 3;
        const auto [stop, error] = std::from_chars(from, from + 2, mac[i], 16);
        good = error == std::errc{} && stop == from + 2 && (i == mac.size() - 1 || from[2] == ':');
    }
    if (!good) throw std::invalid_argument(fmt::format("\"{}\" is no MAC; write it as 02:a9:51:00:00:00", text));
    return mac;
}

} // namespace apsim
