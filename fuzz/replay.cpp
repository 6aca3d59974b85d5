/// The driver of a target without the fuzzer. Tries the files, and those in the folders, that are its
/// arguments; or, with
/// `--soak COUNT`, so many random inputs, after which no more memory may be in use than after the first fifth
/// of them.
#include <malloc.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "fuzz/input.h"

namespace {

namespace fs = std::filesystem;

int replay(const fs::path& place) {
  if (fs::is_directory(place)) {
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(place)) count += replay(entry.path());
    return count;
  }
  std::ifstream stream(place, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  // Where it ends is told by the last name.
  std::cout << place.filename().string() << std::endl;
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return 1;
}

std::size_t bytesInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

int soak(int count) {
  constexpr std::size_t kLongest = 400, kSlack = std::size_t{1} << 20;
  std::mt19937 random(20240611);
  std::vector<std::uint8_t> bytes;
  std::size_t before = 0;
  for (int k = 0; k < count; ++k) {
    if (k == count / 5) before = bytesInUse();
    bytes.resize(random() % kLongest);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::cout << "in use: " << before << " bytes, at the end " << bytesInUse() << "\n";
  fuzz::require(bytesInUse() <= before + kSlack, "memory grows");
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  int count = 0;
  if (arguments.size() == 2 && arguments[0] == "--soak")
    count = soak(std::stoi(arguments[1]));
  else
    for (const std::string& place : arguments) count += replay(place);
  std::cout << count << " inputs\n";
  return count > 0 ? 0 : 1;
}
