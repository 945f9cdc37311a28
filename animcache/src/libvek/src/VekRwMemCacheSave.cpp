// SPDX-License-Identifier: Apache-2.0
//
// Saving an edited cache: an append in place where the edits allow it, else a new file.
//
// Whatever fails, the cache in memory stays whole: it takes the new places of its samples only when
// the file is complete, and forgets the old ones when the file was damaged.

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "VekCache.h"
#include "VekGuarded.h"
#include "VekPlatform.h"

namespace Vek {

namespace {

constexpr __int64 headerSize = sizeof(VekHeader);

/// The number of bytes that the chunk's write() puts into a file.
__int64 writtenSize(const VekChunk& chunk) {
  VekFile counter;
  return counter.openCounting() && chunk.write(counter) ? counter.tell() : -1;
}

}  // namespace

void VekRwMemCache::markSaved() {
  numFileObjects = getNumObjects();
  forgetSamples();
  dirty = false;
  appendable = false;
  storedEdited = false;
}

bool VekRwMemCache::save(bool* written, bool* removed) {
  if (dirty) return saveAs(fileName.c_str(), written, removed);
  if (written != nullptr) *written = false;
  if (removed != nullptr) *removed = false;
  return true;
}

bool VekRwMemCache::saveAs(const char* filename, bool* written, bool* removed) {
  bool isWritten = false;
  bool isRemoved = false;
  const bool saved = guarded(false, [&] {
    const std::string path = filename != nullptr ? filename : "";
    if (getNumObjects() == 0) return removeFile(path, isRemoved);
    isWritten = (path == fileName && append()) || rewrite(path);
    return isWritten;
  });
  if (written != nullptr) *written = isWritten;
  if (removed != nullptr) *removed = isRemoved;
  return saved;
}

// A cache without objects is no file at all.
bool VekRwMemCache::removeFile(const std::string& path, bool& removed) {
  file.close();
  if (VekFile::exists(path.c_str())) {
    removed = Platform::remove(path.c_str());
    jumpTable.clear();
    timeTable.clear();
    if (!removed) return true;
  }
  markSaved();
  return true;
}

// --- The whole file ------------------------------------------------------------------------------

bool VekRwMemCache::rewrite(const std::string& path) {
  if (!loadAllStored()) {
    file.close();
    return false;
  }
  convertToUniformSampling();
  // All that is allocated is made before the file is touched.
  std::vector<__int64> jumps(static_cast<std::size_t>(std::max<__int64>(metadata.numSamples, 0)));
  std::string name = path;
  // Under whatever name: a link, or another way to it.
  const bool isOwnFile = Platform::isSameFile(path.c_str(), fileName.c_str());
  if (!file.open(path.c_str(), "w")) return false;
  const __int64 dateBefore = metadata.dateStamp;
  metadata.dateStamp = Platform::now();
  if (!writeFile(jumps)) {
    file.close();
    metadata.dateStamp = dateBefore;
    if (isOwnFile || path == fileName) {
      std::fill(jumps.begin(), jumps.end(), -1);  // What is left of the file is not to be read.
      jumpTable.swap(jumps);
      forbidAppend();
    }
    return false;
  }
  jumpTable = std::move(jumps);
  fileName.swap(name);
  fillSamples(0);
  markSaved();
  return true;
}

// Holds what the file holds for objects without data: empty groups.
void VekRwMemCache::fillSamples(int first) {
  guarded(false, [&] {
    for (int sample = first; sample < metadata.numSamples; ++sample) {
      for (int obj = 0; obj < getNumObjects(); ++obj) {
        ObjectSample& sobj = sampleSlot(sample, obj);
        if (!sobj) sobj.reset(new VekGroupChunk(Tag::SOBJ));
      }
    }
    return true;
  });
}

// The file is incomplete: only writing it anew makes it whole.
void VekRwMemCache::forbidAppend() {
  forgetSamples();
  dirty = true;
  appendable = false;
  storedEdited = true;
}

// Loads everything; false when something that the file holds cannot be read, which writing the
// file would lose.
bool VekRwMemCache::loadAllStored() {
  // One stream for all of it; a file that may not be written can still be read.
  if (!file.isOpen()) file.open(fileName.c_str(), "r");
  const bool keep = keepOpen;
  keepOpen = true;
  const bool complete = loadAllSamples() && guarded(false, [&] { return holdsAllStored(); });
  keepOpen = keep;
  return complete;
}

bool VekRwMemCache::holdsAllStored() {
  for (int sample = 0; sample < metadata.numSamples; ++sample) {
    for (int obj = 0; obj < getNumObjects(); ++obj) {
      if (!sampleSlot(sample, obj) && isStored(sample, obj)) return false;
    }
  }
  return true;
}

bool VekRwMemCache::writeFile(std::vector<__int64>& jumps) {
  if (!writeHead()) return false;
  if (metadata.numSamples >= 1) {
    if (sampleTable.size() != jumps.size()) return false;
    VekSAMSChunk stream;
    if (!stream.writeStart(file, metadata.numSamples, getReserve(), isNonUniform())) return false;
    if (!writeSamples(stream, jumps, 0)) return false;
  }
  return file.close();
}

bool VekRwMemCache::writeHead() {
  return fileHeader.write(file) && metadata.write(file);
}

// The tables' room for samples to come.
__int64 VekRwMemCache::getReserve() const {
  constexpr __int64 least = 100;
  return std::max(least, reservedSamples != 0 ? reservedSamples : 2 * metadata.numSamples);
}

// Writes the samples from `first` on and ends the section.
bool VekRwMemCache::writeSamples(VekSAMSChunk& stream, std::vector<__int64>& jumps, int first) {
  for (int sample = first; sample < metadata.numSamples; ++sample) {
    jumps[static_cast<std::size_t>(sample)] = file.tell();
    if (!writeSample(stream, sample)) return false;
  }
  return stream.writeEnd(file);
}

bool VekRwMemCache::writeSample(VekSAMSChunk& stream, int sample) {
  const auto index = static_cast<std::size_t>(sample);
  if (index >= sampleTable.size() || !sampleTable[index]) return false;
  if (isNonUniform() && index >= timeTable.size()) return false;
  const ObjectSamples& objects = *sampleTable[index];
  const float* const time = isNonUniform() ? &timeTable[index] : nullptr;
  if (!stream.writeStartSAMPChunk(file, getNumObjects(), time)) return false;
  for (std::size_t obj = 0; obj < metadata.dobjs.size(); ++obj) {
    const VekGroupChunk* const sobj = objects[obj].get();
    const bool written = sobj != nullptr
                             ? stream.writeSOBJChunk(file, sobj)
                             : stream.writeStartSOBJChunk(file) && stream.writeEndSOBJChunk(file);
    if (!written) return false;
  }
  return stream.writeEndSAMPChunk(file);
}

// --- Appending -----------------------------------------------------------------------------------

/// What stands in the file that is appended to.
struct VekRwMemCache::FileScan {
  __int64 size = 0;
  __int64 offsetToMETA = -1;
  __int64 lengthOfMETA = 0;
  __int64 offsetToSAMS = -1;  ///< of the last section
  __int64 endOfSAMS = 0;
  bool inSAMS = false;  ///< whether the tables of that section are still to come
  std::vector<float> fileTimes;
  std::vector<__int64> fileJumps;
  __int64 lastTimesCount = 0;  ///< entries of the last time table
  __int64 timeFREE = 0;        ///< free entries of the last section's time table
  __int64 numFREE = 0;         ///< free entries of its jump table
  bool hasSample = false;      ///< whether a sample follows, where readers of the tables stop
};

bool VekRwMemCache::append() {
  if (!VekFile::isWritable(fileName.c_str()) || getNumObjects() == 0) return false;
  const __int64 dateBefore = metadata.dateStamp;
  const bool appended =
      guarded(false, [&] { return metadata.numSamples < 1 ? writeEmptyFile() : appendToFile(); });
  if (!appended) {
    file.close();
    metadata.dateStamp = dateBefore;
    return false;
  }
  markSaved();
  return true;
}

bool VekRwMemCache::writeEmptyFile() {
  if (!file.open(fileName.c_str(), "w")) return false;
  metadata.dateStamp = Platform::now();
  const bool written = writeHead() && file.close();
  if (!written) forbidAppend();
  return written;
}

bool VekRwMemCache::appendToFile() {
  if (!appendable) return false;
  if (verbosity >= 1) std::cerr << " APPEND " << file.tell() << std::endl;
  FileScan scan;
  // A file opened for reading only is opened anew.
  if (!file.open(fileName.c_str(), "r+") || !scanFile(scan) || !fitsFile(scan)) return false;
  const auto first = static_cast<int>(scan.fileJumps.size());
  std::vector<__int64> jumps = jumpTable;
  if (!fitsHead(scan)) return false;
  VekSAMSChunk stream;
  const bool written = guarded(false, [&] {
    return replaceHead(scan) && startSection(stream, scan, metadata.numSamples - first) &&
           writeSamples(stream, jumps, first) && file.close();
  });
  if (written) {
    jumpTable = std::move(jumps);
    fillSamples(first);
  } else {
    forbidAppend();
  }
  return written;
}

bool VekRwMemCache::scanFile(FileScan& scan) {
  if (!file.seek(0, SEEK_END, true)) return false;
  scan.size = file.tell();
  VekHeader h;
  VekDVEKChunk head;
  if (!file.seek(0, SEEK_SET, true) || !file.readHeader(h) || !head.read(h, file)) return false;
  __int64 end = file.tell();
  while (end < scan.size && file.readHeader(h)) {
    if (!scanChunk(h, scan)) return false;
    end = file.tell();
  }
  // Behind bytes that are no chunk, also fewer than a header has, readers would not find what is
  // added.
  return end == scan.size && scan.offsetToMETA >= 0 && scan.offsetToSAMS >= 0;
}

bool VekRwMemCache::scanChunk(const VekHeader& h, FileScan& scan) {
  const __int64 offset = file.tell() - headerSize;
  if (h.tag == Tag::META) {
    // The new head must fit exactly in place; readers take the first one.
    if (h.length != metadata.getLength() || scan.offsetToMETA >= 0) return false;
    scan.offsetToMETA = offset;
    scan.lengthOfMETA = h.length;
    return file.skipData(h);
  }
  if (h.tag == Tag::SAMS) {
    if (scan.offsetToMETA < 0 || h.type != ValueType::Group || h.length > scan.size) return false;
    if (verbosity >= 1) std::cerr << "offsetToSAMS " << offset << std::endl;
    scan.offsetToSAMS = offset;
    scan.endOfSAMS = offset + headerSize + h.length;
    scan.timeFREE = 0;
    scan.numFREE = 0;
    scan.inSAMS = true;
    return true;
  }
  if (scan.inSAMS && (h.tag == Tag::TIMS || h.tag == Tag::JSAM)) return scanTable(h, scan);
  return file.skipData(h);
}

// Reads a table of a section and counts the free entries behind it; the jump table is the last.
bool VekRwMemCache::scanTable(const VekHeader& h, FileScan& scan) {
  const bool isTimes = h.tag == Tag::TIMS;
  if (h.type != (isTimes ? ValueType::Float : ValueType::Int64)) return false;
  const bool read =
      isTimes ? file.appendData(h, scan.fileTimes) : file.appendData(h, scan.fileJumps);
  if (!read) return false;
  if (isTimes) scan.lastTimesCount = h.length / static_cast<__int64>(sizeof(float));
  const __int64 end = file.tell();
  VekHeader next;
  bool hasNext = file.readHeader(next);
  const bool hasRoom = hasNext && next.tag == Tag::FREE;
  if (isTimes) {
    if (!hasRoom) return file.seek(end, SEEK_SET, false);
    scan.timeFREE = next.length / static_cast<__int64>(sizeof(float));
    return file.skipData(next);
  }
  if (hasRoom) scan.numFREE = next.length / static_cast<__int64>(sizeof(__int64));
  // Readers take tables in any order, up to the first sample: none may follow.
  while (hasNext && next.tag != Tag::SAMP && file.tell() <= scan.endOfSAMS) {
    if (next.tag == Tag::TIMS || next.tag == Tag::JSAM) return false;
    hasNext = (next.tag != Tag::FREE || file.skipData(next)) && file.readHeader(next);
  }
  scan.hasSample = hasNext && next.tag == Tag::SAMP;
  scan.inSAMS = false;
  return end <= scan.endOfSAMS && file.seek(scan.endOfSAMS, SEEK_SET, true);
}

// Whether the file holds just the samples that this cache has stored there, at unchanged times:
// others may have written to it, and times that were shifted must be written anew.
bool VekRwMemCache::knowsSamples(const FileScan& scan) const {
  return scan.fileJumps.size() == static_cast<std::size_t>(getNumStored()) &&
         std::equal(scan.fileJumps.begin(), scan.fileJumps.end(), jumpTable.begin()) &&
         scan.fileTimes.size() <= timeTable.size() &&
         std::equal(scan.fileTimes.begin(), scan.fileTimes.end(), timeTable.begin());
}

// Whether the file's samples are the first of this cache's, with more to come.
bool VekRwMemCache::fitsFile(const FileScan& scan) {
  const auto stored = scan.fileJumps.size();
  if (static_cast<__int64>(stored) >= metadata.numSamples || !knowsSamples(scan)) return false;
  jumpTable.resize(static_cast<std::size_t>(metadata.numSamples), -1);
  if (scan.timeFREE != 0 && scan.timeFREE != scan.numFREE) return false;
  const bool nonUniform = !convertToUniformSampling();
  if (nonUniform != (scan.lastTimesCount > 0)) return false;
  const __int64 numNewSamples = metadata.numSamples - static_cast<__int64>(stored);
  // Readers would go on into the new section.
  if (!hasRoom(scan, numNewSamples) && !scan.hasSample) return false;
  // Refused here rather than by the section's own tables, once the file was written to.
  if (nonUniform && hasRoom(scan, numNewSamples) && scan.timeFREE < numNewSamples) return false;
  if (verbosity >= 1) {
    const auto first = static_cast<__int64>(stored);
    std::cerr << " file size " << scan.size << " Samples cached " << sampleTable.size()
              << " file jumps " << stored << " cache jumps " << jumpTable.size() << " numFREE "
              << scan.numFREE << std::endl;
    std::cerr << " times cached " << timeTable.size() << " file " << scan.fileTimes.size()
              << " LastTime cached " << metadata.lastTime << std::endl;
    std::cerr << " numSamplesToAppend " << metadata.numSamples - first << " sampleToStartAppend "
              << first << " numSamples " << metadata.numSamples << std::endl;
  }
  return true;
}

// Whether the new head has the size of the old one. Its computed length can differ from its size in
// the file: nothing may be written over what follows it.
bool VekRwMemCache::fitsHead(const FileScan& scan) {
  metadata.dateStamp = Platform::now();
  return writtenSize(metadata) == headerSize + scan.lengthOfMETA;
}

bool VekRwMemCache::replaceHead(const FileScan& scan) {
  return file.seek(scan.offsetToMETA, SEEK_SET, true) && metadata.write(file);
}

// Whether the last section can grow: it ends the file, and its jump table has free entries.
bool VekRwMemCache::hasRoom(const FileScan& scan, __int64 numNewSamples) {
  return scan.endOfSAMS == scan.size && scan.numFREE >= numNewSamples;
}

// Continues the last section when its tables have room for the samples, else begins a new one.
bool VekRwMemCache::startSection(VekSAMSChunk& stream, const FileScan& scan,
                                 __int64 numNewSamples) {
  if (hasRoom(scan, numNewSamples))
    return file.seek(scan.offsetToSAMS, SEEK_SET, true) && stream.appendStart(file, numNewSamples);
  return file.seek(0, SEEK_END, true) &&
         stream.writeStart(file, numNewSamples, getReserve(), isNonUniform());
}

}  // namespace Vek
