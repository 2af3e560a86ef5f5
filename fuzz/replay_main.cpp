// Runs a fuzz harness over every file of the folders it is given (absent
// folders are passed over), so that seeds and past crash inputs are replayed
// by the ordinary test run, under the sanitizers where the build has them.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  unsigned count = 0;
  for (int i = 1; i < argc; ++i) {
    std::error_code ec;
    if (!fs::is_directory(argv[i], ec)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                              std::istreambuf_iterator<char>());
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++count;
    }
  }
  std::printf("replayed %u inputs\n", count);
  return 0;
}
