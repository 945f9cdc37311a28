// SPDX-License-Identifier: Apache-2.0
//
// A plain program that opens a cache file: it reads the bytes of the head in one go and builds the
// strings and vectors that they hold.

#ifndef VEK_BENCH_PLAIN_HEAD_H
#define VEK_BENCH_PLAIN_HEAD_H

#include <cstddef>
#include <string>
#include <vector>

#include "BenchScenes.h"

namespace bench {

struct PlainLeaf {
  Vek::VekHeader header;
  Values values;
};

struct PlainObject {
  std::string name;
  std::vector<PlainLeaf> leaves;
  std::vector<std::string> staticNames;
  std::vector<std::string> staticTypes;
  std::vector<std::string> animatedNames;
  std::vector<std::string> animatedTypes;
  std::vector<PlainLeaf> staticValues;
};

class PlainHead {
 public:
  explicit PlainHead(std::vector<char>& buffer) : m_buffer(buffer) {}
  /// Reads the head, which stays in the buffer, and the table of samples.
  void open(const std::string& path);

  std::vector<PlainLeaf> fields;
  std::vector<PlainObject> objects;
  std::vector<__int64> sampleTable;

 private:
  std::vector<char>& m_buffer;
};

}  // namespace bench

#endif
