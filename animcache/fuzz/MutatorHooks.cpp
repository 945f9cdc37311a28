// SPDX-License-Identifier: Apache-2.0
//
// The mutator as the fuzzer calls it: mutations of the file image, of the bytes and of the choices.

#include <cstring>
#include <string>
#include <utility>

#include "FuzzInput.h"
#include "VekMutator.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace VekFuzz {

namespace {

/// Splits an input into the image and the choices behind it.
std::pair<std::string, std::string> split(const std::uint8_t* data, std::size_t size) {
  const std::size_t tail = choicesSize(data, size);
  const auto* const text = reinterpret_cast<const char*>(data);
  std::string choices;
  if (tail > sizeof choicesMark + 1)
    choices.assign(text + size - tail, tail - sizeof choicesMark - 1);
  return {std::string(text, size - tail), choices};
}

std::size_t join(std::string image, const std::string& choices, std::uint8_t* data,
                 std::size_t maxSize) {
  if (!choices.empty()) {
    image += choices;
    image.push_back(static_cast<char>(choices.size()));
    image.append(choicesMark, sizeof choicesMark);
  }
  if (image.size() > maxSize) return 0;
  std::memcpy(data, image.data(), image.size());
  return image.size();
}

// Without choices an input is looked at in every way, which takes its time.
std::string withChoices(const std::string& choices, unsigned seed) {
  if (!choices.empty() || seed % 32 == 0) return choices;
  return {static_cast<char>(seed >> 8U), static_cast<char>(seed >> 16U)};
}

std::string mutateBytes(std::string bytes, std::size_t most) {
  const std::size_t size = std::min(bytes.size(), most);
  bytes.resize(most);
  bytes.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), size, most));
  return bytes;
}

std::string mutateImage(const std::string& image, std::string& choices, unsigned seed,
                        std::size_t most) {
  switch (seed % 8) {
    case 0:
    case 1:
      return mutateBytes(image, most);
    case 2:
    case 3:
      choices = mutateBytes(choices, maxChoices);
      return image;
    default:
      return VekMutator(seed).mutate(image);
  }
}

}  // namespace
}  // namespace VekFuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maxSize, unsigned seed) {
  using namespace VekFuzz;
  constexpr std::size_t least = 64;  // Room for an image that is any.
  if (maxSize < least) return LLVMFuzzerMutate(data, size, maxSize);
  auto [image, choices] = split(data, size);
  image = mutateImage(image, choices, seed, maxSize);
  const std::size_t joined = join(image, withChoices(choices, seed), data, maxSize);
  return joined != 0 ? joined : LLVMFuzzerMutate(data, size, maxSize);
}

// The fuzzer crosses as often as it mutates, which makes files larger and larger: most of the time
// the first input is mutated here, too.
extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* data, std::size_t size,
                                                 const std::uint8_t* other, std::size_t otherSize,
                                                 std::uint8_t* out, std::size_t maxSize,
                                                 unsigned seed) {
  using namespace VekFuzz;
  auto [image, choices] = split(data, size);
  if (seed / 8 % 4 != 0) {
    image = VekMutator(seed).mutate(image);
  } else {
    const auto [otherImage, otherChoices] = split(other, otherSize);
    image = VekMutator(seed).cross(image, otherImage);
    if (seed % 2 == 0) choices = otherChoices;
  }
  return join(image, withChoices(choices, seed), out, maxSize);
}
