// SPDX-License-Identifier: Apache-2.0
//
// Small valid files that hold a chunk of every class between them, to be damaged byte by byte.

#ifndef VEK_TEST_HOSTILE_SCENES_H
#define VEK_TEST_HOSTILE_SCENES_H

#include <ostream>
#include <string>
#include <vector>

namespace VekTest {

struct HostileScene {
  std::string name;
  std::string bytes;
};

inline std::ostream& operator<<(std::ostream& os, const HostileScene& scene) {
  return os << scene.name;
}

/// The scenes, always in the same order and with the same bytes.
const std::vector<HostileScene>& hostileScenes();

}  // namespace VekTest

#endif
