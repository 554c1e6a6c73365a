// printed - what the daemon prints, without what a test can't know.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

// Text behind the "Error->func(line)--" prefix of a single line.
inline std::string message_of(const std::string& line)
{
    const std::size_t at = line.find(")--");
    return at == std::string::npos ? line : line.substr(at + 3);
}

inline std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1);
        lines.push_back(text.substr(at, end + 1 - at));
        at = end + 1;
    }
    return lines;
}

inline std::vector<std::string> messages_of(const std::string& text)
{
    std::vector<std::string> lines = lines_of(text);
    for (std::string& line : lines)
        line = message_of(line);
    return lines;
}
