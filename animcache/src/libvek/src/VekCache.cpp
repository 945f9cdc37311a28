// SPDX-License-Identifier: Apache-2.0
//
// A file opened as a cache: loading and checking its head and its tables, and what they hold.

#include "VekCache.h"

#include <cmath>
#include <cstdio>
#include <iostream>

#include "VekGuarded.h"

namespace Vek {

namespace {

constexpr const char* openModes[] = {"r", "r+"};

/// Reports a load error with the line it was found in, and is the result of the failing step.
bool loadError(const char* message, int line = __builtin_LINE()) {
  std::cout << "VekCache:" << line << " " << message << std::endl;
  return false;
}

const std::string& noName() {
  static const std::string empty;
  return empty;
}

}  // namespace

VekCache::VekCache() = default;

VekCache::VekCache(const char* filename, bool keep, bool* ok) {
  const bool loaded = VekCache::load(filename, keep);
  if (ok != nullptr) *ok = loaded;
}

VekCache::~VekCache() {
  VekCache::reset();
}

void VekCache::reset() {
  fileName.clear();
  file.close();
  keepOpen = true;
  fileHeader.reset();
  metadata.reset();
  timeTable.clear();
  jumpTable.clear();
  objectJumps.clear();
  numFileObjects = 0;
  forgetSamples();
}

bool VekCache::close() {
  m_outlined = -1;
  return file.close();
}

bool VekCache::setKeepOpen(bool keep) {
  keepOpen = keep;
  return keep || file.close();
}

bool VekCache::getKeepOpen() const {
  return keepOpen;
}

// --- Loading -------------------------------------------------------------------------------------

bool VekCache::load(const char* filename, bool keep) {
  bool loaded = false;
  bool isEmpty = false;
  const bool hadMemory = guarded(false, [&] {
    // A copy: the path may be this cache's own name, which the reset clears.
    const std::string path = filename != nullptr ? filename : "";
    reset();
    isEmpty = !openFile(path);
    loaded = !isEmpty && loadFile(path, keep);
    return true;
  });
  if (!hadMemory) loadError("not enough memory");
  if (!loaded && !isEmpty) reset();
  return loaded;
}

bool VekCache::loadFile(const std::string& path, bool keep) {
  fileName = path;
  keepOpen = keep;
  if (!readHead()) return false;
  numFileObjects = getNumObjects();
  if (metadata.numSamples != 0 && !(readSections() && checkSamples())) return false;
  if (!keepOpen) file.close();
  return true;
}

bool VekCache::openFile(const std::string& path) {
  if (!VekFile::isVekFile(path.c_str())) return loadError("error opening file, Not a Vek file");
  const int mode = openMode != 0 && VekFile::isWritable(path.c_str()) ? openMode : 0;
  return file.open(path.c_str(), openModes[mode]) || loadError("error opening file");
}

bool VekCache::readHead() {
  VekHeader h;
  if (!file.readHeader(h)) return loadError("error reading header");
  if (!fileHeader.read(h, file)) return loadError("error reading DVEK chunk");
  if (!file.readHeader(h)) return loadError("missing META chunk");
  while (h.tag != Tag::META) {
    if (!file.skipData(h)) return loadError("error skipping chunk");
    if (!file.readHeader(h)) return loadError("missing META chunk");
  }
  return metadata.read(h, file) || loadError("error reading META chunk");
}

/// One group of the sample stream; a file holds one for each time that samples were added.
struct VekCache::Section {
  __int64 end = 0;  ///< offset of its end
  bool hasTimes = false;
  bool hasJumps = false;
};

bool VekCache::readSections() {
  __int64 position = file.tell();
  for (;;) {
    Section section;
    if (!findSection(section, position) || !readSection(section) || !checkSection(section))
      return false;
    if (static_cast<__int64>(jumpTable.size()) >= metadata.numSamples) return true;
    // The end of a section that was never completed lies before what was read of it.
    position = file.tell();
    if (!file.seek(section.end, SEEK_SET, true)) return loadError("error seeking file");
  }
}

// Finds the next section, at or after `position`: tables that were read are not read again.
bool VekCache::findSection(Section& section, __int64 position) {
  VekHeader h;
  if (!file.readHeader(h)) return loadError("missing next SAMS chunk for sample ");
  while (h.tag != Tag::SAMS) {
    if (!file.skipData(h)) return loadError("error skipping chunk");
    if (!file.readHeader(h)) return loadError("missing next SAMS chunk for sample ");
  }
  const __int64 offset = file.tell();
  if (offset < 0) return loadError("error telling file");
  if (offset - static_cast<__int64>(sizeof(VekHeader)) < position)
    return loadError("error seeking file");
  // Without a sensible length there is no end to go on from.
  const bool hasEnd = h.length >= 0 && h.length <= std::numeric_limits<__int64>::max() - offset;
  section.end = hasEnd ? offset + h.length : -1;
  return true;
}

// Reads the tables before the section's first sample. A chunk that does not belong there is not
// skipped: what follows its header is taken for the next one.
bool VekCache::readSection(Section& section) {
  VekHeader h;
  while (file.readHeader(h)) {
    if (verbosity >= 1) h.print(std::cerr) << " " << file.tell() << std::endl;
    if (h.tag == Tag::SAMP) return true;
    if (h.tag == Tag::TIMS) {
      if (!file.appendData(h, timeTable)) return loadError("error reading TIMS chunk");
      section.hasTimes = true;
    } else if (h.tag == Tag::JSAM) {
      if (!file.appendData(h, jumpTable)) return loadError("error reading JSAM chunk");
      section.hasJumps = true;
    } else if (h.tag == Tag::FREE) {
      if (!file.skipData(h)) return loadError("error skipping FREE chunk");
    }
  }
  return true;
}

bool VekCache::checkSection(const Section& section) {
  if (!section.hasJumps) return loadError("missing JSAM chunk");
  if (jumpTable.empty()) return loadError("no entries in jump table");
  if (isNonUniform()) {
    if (!section.hasTimes) return loadError("missing TIMS chunk");
    if (timeTable.size() != jumpTable.size())
      return loadError("jump table and time table size mismatch");
  } else if (section.hasTimes) {
    return loadError("unexpected TIMS chunk");
  }
  return true;
}

bool VekCache::checkSamples() {
  if (static_cast<__int64>(jumpTable.size()) != metadata.numSamples)
    return loadError("number of samples is wrong");
  if (timeTable.empty()) {
    const float count = countSamples(metadata.firstTime, metadata.lastTime, metadata.rate);
    return count == static_cast<float>(jumpTable.size()) || loadError("number of samples is wrong");
  }
  if (timeTable.front() != metadata.firstTime) return loadError("first time is wrong");
  if (timeTable.back() != metadata.lastTime) return loadError("last time is wrong");
  return true;
}

// The product is taken in single precision, its rounding in double, the result in single again.
float VekCache::countSamples(float firstTime, float lastTime, float rate) {
  const float steps = (lastTime - firstTime) * rate;
  const double rounded = std::trunc(static_cast<double>(steps) + (steps > 0 ? 0.5 : -0.5));
  return static_cast<float>(rounded + 1);
}

// --- The head ------------------------------------------------------------------------------------

const std::string& VekCache::getFilename() const {
  return fileName;
}

const VekDVEKChunk& VekCache::getDVEKChunk() const {
  return fileHeader;
}

int VekCache::getVersion() const {
  return static_cast<int>(fileHeader.version);
}

VekMETAChunk& VekCache::getMETAChunk() {
  return metadata;
}

const std::string& VekCache::getApplication() const {
  return metadata.application;
}

const std::string& VekCache::getSourceFile() const {
  return metadata.sourceFile;
}

const __int64& VekCache::getDateStamp() const {
  return metadata.dateStamp;
}

int VekCache::getNumSamples() const {
  return static_cast<int>(metadata.numSamples);
}

float VekCache::getFirstTime() const {
  return metadata.firstTime;
}

float VekCache::getLastTime() const {
  return metadata.lastTime;
}

float VekCache::getRate() const {
  return metadata.rate;
}

int VekCache::getSpace() const {
  return static_cast<int>(metadata.space);
}

bool VekCache::isNonUniform() const {
  return metadata.rate == 0;
}

bool VekCache::isAnimated() const {
  return metadata.numSamples != 0 && metadata.lastTime - metadata.firstTime > 0;
}

// --- Objects -------------------------------------------------------------------------------------

int VekCache::getNumObjects() const {
  return static_cast<int>(metadata.dobjs.size());
}

const VekDOBJChunk* VekCache::getObjDef(int obj) const {
  return hasObject(obj) ? metadata.dobjs[static_cast<std::size_t>(obj)] : nullptr;
}

bool VekCache::hasObject(int obj) const {
  return obj >= 0 && obj < getNumObjects();
}

const std::string& VekCache::getName(int obj) const {
  const VekDOBJChunk* const definition = getObjDef(obj);
  return definition != nullptr ? definition->name : noName();
}

int VekCache::getNumAttrs(int obj) const {
  const VekDOBJChunk* const definition = getObjDef(obj);
  return definition != nullptr ? definition->getNumAttrs() : 0;
}

int VekCache::findAttr(int obj, const std::string& name) const {
  const VekDOBJChunk* const definition = getObjDef(obj);
  return definition != nullptr ? definition->findAttr(name) : -1;
}

bool VekCache::isAttrAnimated(int obj, int attr) const {
  const VekDOBJChunk* const definition = getObjDef(obj);
  return definition != nullptr && definition->isAttrAnimated(attr);
}

std::string VekCache::getAttrName(int obj, int attr) const {
  const VekDOBJChunk* const definition = getObjDef(obj);
  return definition != nullptr ? definition->getAttrName(attr) : noName();
}

std::string VekCache::getAttrType(int obj, int attr) const {
  const VekDOBJChunk* const definition = getObjDef(obj);
  return definition != nullptr ? definition->getAttrType(attr) : noName();
}

}  // namespace Vek
