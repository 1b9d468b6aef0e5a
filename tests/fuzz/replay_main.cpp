// Runs a fuzz target's entry over kept inputs without libFuzzer: each argument is a file, or a
// directory whose files are all run (in name order). Any fault shows as a crash or a
// sanitizer report, as under the fuzzer. Exits 2 when an argument cannot be read, so a test
// that names a missing folder fails.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool RunFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    // The targets change the working directory: every argument is taken from where we start.
    std::vector<std::filesystem::path> arguments;
    for (int i = 1; i < argc; ++i) arguments.push_back(std::filesystem::absolute(argv[i]));
    int ran = 0;
    for (const std::filesystem::path& argument : arguments) {
        std::vector<std::filesystem::path> files;
        std::error_code error;
        if (std::filesystem::is_directory(argument, error)) {
            for (const auto& entry : std::filesystem::directory_iterator(argument, error))
                if (entry.is_regular_file()) files.push_back(entry.path());
            std::sort(files.begin(), files.end());
        } else {
            files.push_back(argument);
        }
        if (error) {
            fprintf(stderr, "%s: %s\n", argument.c_str(), error.message().c_str());
            return 2;
        }
        for (const auto& file : files) {
            if (!RunFile(file)) {
                fprintf(stderr, "%s: cannot be read\n", file.c_str());
                return 2;
            }
            ++ran;
        }
    }
    printf("%d input(s) ran\n", ran);
    return 0;
}
