// Runs a fuzz target over every file of a folder: the seeds and what once crashed stay tests of every build.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz_world.h"

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s <folder>\n", argv[0]);
        return 2;
    }
    std::vector<std::filesystem::path> files;
    std::error_code failed;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1], failed))
        if (entry.is_regular_file(failed)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path& path : files) {
        fprintf(stderr, "%s\n", path.filename().c_str());
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        (void)LLVMFuzzerTestOneInput(reinterpret_cast<const UINT8*>(bytes.data()),
                                     bytes.size()); // it aborts on failure
    }
    fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
