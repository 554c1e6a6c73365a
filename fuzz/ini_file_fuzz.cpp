// The configuration file: any content, any key.
//
// Input: the length of a key as a byte, the key, the content of the file.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "ac_wtp_protocol/acwtp_transport.h"
#include "fuzz_world.h"
#include "platform/ac_platform.h"

namespace {

constexpr const char* FILE_NAME = "/var/config_cloud_ac.cfg";
constexpr std::size_t VALUE_SIZE = 64;

// Cut to its length behind the writing: a file emptied first is flushed to the disk by its close.
void write_file(std::span<const UINT8> content)
{
    const int fd = open(ac_path(FILE_NAME).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    fuzz_require(fd >= 0 && write(fd, content.data(), content.size()) == std::ssize(content) &&
                     ftruncate(fd, std::ssize(content)) == 0,
                 "the file is written");
    close(fd);
}

// A value stands in the file behind an equals sign, and ends with its line.
void check_value(const std::string& value, std::span<const UINT8> content)
{
    fuzz_require(value.find('\n') == std::string::npos, "a value ends with its line");
    const auto equals = std::find(content.begin(), content.end(), UINT8{'='});
    fuzz_require(equals != content.end(), "a value needs an equals sign");
    const auto found = std::search(equals + 1, content.end(), value.begin(), value.end(),
                                   [](UINT8 a, char b) { return a == static_cast<UINT8>(b); });
    fuzz_require(value.empty() || found != content.end(), "a value stands behind an equals sign");
}

void look_up(const std::string& key, std::span<const UINT8> content)
{
    const std::vector<UINT8> untouched(VALUE_SIZE, 'X');
    const fuzz_exact memory(untouched);
    char* value = reinterpret_cast<char*>(memory.bytes().data());
    if (GetIniFileValue(FILE_NAME, key.c_str(), value) == 0) {
        fuzz_require(std::ranges::equal(memory.bytes(), untouched), "a key that isn't there leaves the buffer");
        return;
    }
    const auto end = std::find(memory.bytes().begin(), memory.bytes().end(), UINT8{0});
    fuzz_require(end != memory.bytes().end(), "a value is terminated");
    check_value({memory.bytes().begin(), end}, content);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    wire_reader in{{data, size}};
    const std::string key = fuzz_take_text(in, wire_take<UINT8>(in));
    write_file(in.left);
    look_up(key, in.left);
    look_up("port", in.left);
    const int result = init_local_port();
    fuzz_require(result == AC_RET_OK || ac_port == AC_DEFAULT_PORT, "no port in the file means the default");
    return 0;
}
