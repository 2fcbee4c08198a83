// Runs a fuzz target over every file of its seed folders, without libFuzzer: the normal test
// run replays the hand-made seeds and every input that once crashed, so a fixed crash stays
// fixed. The long searches for new inputs are tools/fuzz's job.
//
//   <target>_replay FOLDER_OR_FILE...
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    if (std::filesystem::is_directory(path)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) inputs.push_back(entry.path());
      }
    } else if (std::filesystem::is_regular_file(path)) {
      inputs.push_back(path);
    }
  }
  for (const auto& input : inputs) {
    std::ifstream in(input, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return inputs.empty() ? 1 : 0;
}
