// Runs a fuzz target on the files named on the command line, where there is no libFuzzer.

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size);

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "can't read %s\n", argv[i]);
            return 1;
        }
        std::vector<char> const bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<uint8_t const*>(bytes.data()), bytes.size());
    }
    std::printf("%d inputs\n", argc - 1);
    return 0;
}
