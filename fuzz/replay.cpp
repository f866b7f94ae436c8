// Runs a fuzz target on the files and folders of files that are named on the command line, where
// there is no libFuzzer.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size);

namespace {

bool replay(std::filesystem::path const& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "can't read %s\n", path.c_str());
        return false;
    }
    std::vector<char> const bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<uint8_t const*>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<std::filesystem::path> paths{argv[i]};
        std::error_code ignored;
        if (std::filesystem::is_directory(paths[0], ignored)) {
            std::filesystem::directory_iterator const entries(paths[0]);
            paths.assign(begin(entries), end(entries));
        }
        for (std::filesystem::path const& path : paths) {
            if (!replay(path))
                return 1;
            ++inputs;
        }
    }
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
