// SPDX-License-Identifier: Apache-2.0
//
// The bytes of chunks side by side as they stand in the file, read ahead as a whole.

#ifndef VEK_CHUNK_IMAGE_H
#define VEK_CHUNK_IMAGE_H

#include "VekChunks.h"

namespace Vek {

/// Whether a reader would find all chunks of an image whole, to its last byte, and groups in them
/// nested no deeper than it follows; `level` groups are open around the image.
bool areReadable(const char* image, __int64 length, unsigned __int64 level);

}  // namespace Vek

#endif
