// SPDX-License-Identifier: Apache-2.0
//
// Opens a cache file, shows what its head says, lists its objects, and fetches the data of one of
// them in the middle sample.
//
//     list_objects scene.vek
//     list_objects scene.vek "|stage|sparks"

#include <VekCache.h>

#include <iostream>
#include <memory>
#include <string>

using namespace Vek;

namespace {

// A fetch hands over memory that its caller must free, so it is for subclasses, which decide how
// long they keep what they load. This one leaves that to the program.
class SampleCache : public VekCache {
 public:
  using VekCache::VekCache;

  std::unique_ptr<VekGroupChunk> fetch(int sample, int object) {
    return std::unique_ptr<VekGroupChunk>(loadObjectSample(sample, object));
  }
};

// An object is of the first kind whose tag it has.
struct Kind {
  unsigned int tag;
  const char* name;
};
constexpr Kind kinds[] = {{Tag::XFRM, "transform"},     {Tag::MESH, "mesh"},
                          {Tag::NRBS, "nurbs surface"}, {Tag::NRBC, "nurbs curve"},
                          {Tag::ELOC, "locator"},       {Tag::LXCS, "coordinate system"},
                          {Tag::POSI, "points"}};

const char* kindOf(SampleCache& cache, int object) {
  for (const Kind& kind : kinds) {
    if (cache.objectHas(object, kind.tag)) return kind.name;
  }
  return "object";
}

bool isAnimated(SampleCache& cache, int object) {
  for (int i = 0; i < cache.getNumAttrs(object); ++i) {
    if (cache.isAttrAnimated(object, i)) return true;
  }
  return cache.isObjectAnimated(object, Tag::MTRX) || cache.isObjectAnimated(object, Tag::POSI);
}

void printHead(const SampleCache& cache) {
  std::cout << "format version " << cache.getVersion() << '\n';
  if (!cache.getApplication().empty()) std::cout << "written by " << cache.getApplication() << '\n';
  if (!cache.getSourceFile().empty()) std::cout << "made from " << cache.getSourceFile() << '\n';
  std::cout << cache.getNumSamples() << " samples";
  if (cache.getNumSamples() > 0) {
    std::cout << ", frames " << cache.getFirstTime() << " to " << cache.getLastTime() << ", ";
    if (cache.isNonUniform()) {
      std::cout << "non-uniform";
    } else {
      std::cout << cache.getRate() << " per frame";
    }
  }
  std::cout << (cache.getSpace() == 0 ? ", world space\n" : ", object space\n");
}

void printObjects(SampleCache& cache) {
  std::cout << cache.getNumObjects() << " objects\n";
  for (int i = 0; i < cache.getNumObjects(); ++i) {
    std::cout << "  [" << i << "] " << cache.getName(i) << " : " << kindOf(cache, i) << ", "
              << (isAnimated(cache, i) ? "animated" : "static") << ", " << cache.getNumAttrs(i)
              << " attributes\n";
  }
}

int fail(const std::string& path, const std::string& what) {
  std::cout.flush();
  std::cerr << "list_objects: " << path << ": " << what << '\n';
  return 1;
}

// `name` is a full path or its last part; empty for the first object.
int list(const std::string& path, const std::string& name) {
  bool ok = false;
  SampleCache cache(path.c_str(), true, &ok);
  if (!ok) return fail(path, "cannot be read as a cache");
  printHead(cache);
  printObjects(cache);

  const int object = name.empty() ? 0 : cache.findObjectIndex(name);
  if (object < 0) return fail(path, "no object named " + name);
  if (cache.getNumSamples() > 0 && cache.getNumObjects() > 0) {
    const int sample = cache.getNumSamples() / 2;
    const std::unique_ptr<VekGroupChunk> data = cache.fetch(sample, object);
    if (!data) return fail(path, "the middle sample of " + cache.getName(object) + " is damaged");
    std::cout << cache.getName(object) << " in sample " << sample << ", frame "
              << cache.getSampleTime(sample) << '\n';
    data->print(std::cout, 1);
  }
  return std::cout.flush() ? 0 : fail(path, "the list cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
  const std::string first = argc > 1 ? argv[1] : "";
  if (first == "--help") {
    std::cout << "Usage: list_objects FILE [OBJECT]\n"
                 "Lists the objects of the cache file FILE and prints the data of OBJECT, or of the"
                 " first one,\nin the middle sample.\n";
    return 0;
  }
  if (first == "--version") {
    std::cout << "list_objects " VEK_VERSION "\n";
    return 0;
  }
  if (argc < 2 || argc > 3 || first[0] == '-') {
    std::cerr << "Usage: list_objects FILE [OBJECT]\n";
    return 2;
  }
  return list(first, argc == 3 ? argv[2] : "");
}
