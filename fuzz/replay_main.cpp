// Runs a fuzz target over saved inputs without libFuzzer: every file named on the command line, and
// every regular file in a directory named there, in name order. A target reports a fault by
// aborting, so reaching the end means every input passed. With no input found the run fails, so
// that a missing seed corpus does not pass unnoticed.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool RunFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  // A copy of exactly the input's size, so that the sanitizers see any read past its end.
  std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.empty() ? nullptr : input.data(), input.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path arg(argv[i]);
    std::error_code error;
    if (std::filesystem::is_directory(arg, error)) {
      std::vector<std::filesystem::path> listed;
      for (const auto& entry : std::filesystem::directory_iterator(arg, error)) {
        if (entry.is_regular_file()) listed.push_back(entry.path());
      }
      std::sort(listed.begin(), listed.end());
      files.insert(files.end(), listed.begin(), listed.end());
    } else {
      files.push_back(arg);
    }
    if (error) {
      std::fprintf(stderr, "cannot list %s: %s\n", argv[i], error.message().c_str());
      return 1;
    }
  }
  if (files.empty()) {
    std::fprintf(stderr, "usage: %s <input file or directory>...: no input found\n", argv[0]);
    return 1;
  }
  std::size_t passed = 0;
  for (const auto& file : files) {
    // Named before it runs: a failing input ends the process.
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    if (!RunFile(file)) return 1;
    ++passed;
  }
  std::printf("%zu inputs passed\n", passed);
  return 0;
}
