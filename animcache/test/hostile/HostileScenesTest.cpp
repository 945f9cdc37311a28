// SPDX-License-Identifier: Apache-2.0
//
// What the scenes hold between them: every tag of the format, every value type, and an object for
// every kind of view.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "HostileScenes.h"
#include "VariantFile.h"
#include "VekHelperObj.h"

namespace VekTest {

namespace {

using namespace Vek;

/// Calls `use` with the header of every chunk of every scene.
template <typename Use>
void forEveryHeader(Use use) {
  for (const HostileScene& scene : hostileScenes()) {
    VariantFile image;
    image.assign(scene.bytes);
    VekFile file(image.path(), "r");
    VekHeader h;
    while (file.readHeader(h)) {
      use(h);
      if (h.type == ValueType::Group) continue;
      EXPECT_TRUE(file.skipData(h)) << scene.name;
    }
  }
}

TEST(HostileScenesTest, holdEveryTag) {
  const unsigned int tags[] = {
      Tag::DVEK, Tag::META, Tag::WAPP, Tag::SFIL, Tag::DATE, Tag::NSAM, Tag::FTIM,
      Tag::LTIM, Tag::RATE, Tag::SPAC, Tag::NOBJ, Tag::DOBJ, Tag::NAME, Tag::TYPE,
      Tag::DATR, Tag::SATR, Tag::AATR, Tag::ATRS, Tag::ATTR, Tag::SAMS, Tag::TIMS,
      Tag::JSAM, Tag::SAMP, Tag::JOBJ, Tag::SOBJ, Tag::FREE, Tag::POSI, Tag::VELO,
      Tag::BBOX, Tag::XFRM, Tag::MESH, Tag::ELOC, Tag::LXCS, Tag::NRBS, Tag::NRBC,
      Tag::MTRX, Tag::MTRO, Tag::INHT, Tag::DEGR, Tag::FORM, Tag::KNTU, Tag::KNTV,
      Tag::PCNT, Tag::PIDS, Tag::NCNT, Tag::NIDS, Tag::PONO, Tag::VPNO, Tag::MSPT};
  std::set<unsigned int> found;
  forEveryHeader([&](const VekHeader& h) { found.insert(h.tag); });
  for (const unsigned int tag : tags)
    EXPECT_EQ(found.count(tag), 1U) << VekHeader(tag, 0, 0).tagStr();
}

TEST(HostileScenesTest, holdEveryValueTypeAndAnUnknownOne) {
  std::set<int> found;
  forEveryHeader([&](const VekHeader& h) { found.insert(h.type); });
  EXPECT_THAT(found, ::testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 9));
}

TEST(HostileScenesTest, holdAnObjectForEveryView) {
  std::set<std::string> found;
  for (const HostileScene& scene : hostileScenes()) {
    VariantFile image;
    image.assign(scene.bytes);
    VekRoMemCache cache(image.path());
    VekHelperObjFactory factory(&cache);
    for (int obj = 0; obj < cache.getNumObjects(); ++obj) {
      VekHelperObj* const view = factory.vekObjBuilder(obj);
      found.insert(view->categories().begin(), view->categories().end());
      view->destroy();
    }
  }
  EXPECT_THAT(found, ::testing::ElementsAre("geometry", "helperObj", "locator", "lxcoordsystem",
                                            "mesh", "nurbscurve", "nurbssurface", "transform"));
}

}  // namespace

}  // namespace VekTest
