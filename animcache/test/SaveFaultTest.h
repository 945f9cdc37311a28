// SPDX-License-Identifier: Apache-2.0
//
// What the tests of saves that fail share.

#ifndef VEK_TEST_SAVE_FAULT_TEST_H
#define VEK_TEST_SAVE_FAULT_TEST_H

#include <gtest/gtest.h>

#include <string>

#include "ByteImage.h"
#include "SaveModel.h"
#include "VekCache.h"

namespace VekTest {

class SaveFaultTest : public FileTest {
 protected:
  std::string bytes(const std::string& name = "file.vek") const { return readFile(path(name)); }

  /// Saves the cache, which could not be saved before, elsewhere.
  void expectSavedElsewhere(Vek::VekRwMemCache& cache, const Model& model) {
    EXPECT_TRUE(cache.isDirty());
    bool written = false;
    bool removed = true;
    ASSERT_TRUE(cache.saveAs(path("elsewhere.vek").c_str(), &written, &removed));
    EXPECT_TRUE(written);
    EXPECT_FALSE(removed);
    EXPECT_FALSE(cache.isDirty());
    EXPECT_EQ(differenceOfFile(path("elsewhere.vek"), model), "");
    EXPECT_EQ(difference(cache, model, Unallocated::Empty), "");
  }
};

}  // namespace VekTest

#endif
