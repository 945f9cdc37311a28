// SPDX-License-Identifier: Apache-2.0

/// @file
/// Object views: typed answers about one object of a cache, at a sample or at any time. The factory
/// builds the view that an object's chunks call for.
///
/// A view owns no sample data. A pointer that it hands out points into the cache and is valid for
/// as long as the cache keeps that sample (see VekRoMemCache). Views hold no state of their own
/// between calls; since the cache under them does, views of one cache serve one thread at a time.
///
/// Accessors return false when data is missing, of another type, or damaged. Values are then as
/// they were unless a comment says otherwise; `state` and `dimension` may have been set. Nothing
/// throws but the attribute index check of VekDATRChunk, where a comment names it.

#ifndef VEK_HELPER_OBJ_H
#define VEK_HELPER_OBJ_H

#include <set>
#include <string>
#include <vector>

#include "VekCache.h"

namespace Vek {

template <typename T>
class VekTransformChannels;

/// How an evaluation at a time blends samples. Filled by the caller, read by the library.
struct VEK_API VekInterpolationHints {
  /// 0 takes the sample at or before the time, 1 is linear, 2 quadratic, 3 cubic.
  int interpolation = 0;
  std::vector<std::string> interpolationNames;  ///< display names, indexed by `interpolation`
  int option = 0;                               ///< shown in the description from 1 on
  std::vector<std::string> optionNames;         ///< display names, indexed by `option`

  /// The name of the interpolation and, from option 1 on, a blank and the option's name; an index
  /// without a name counts as an empty name.
  std::string describe() const;
};

/// A view of any object: its name, attributes, chunks and bounds. The base of all views.
class VEK_API VekHelperObj {
 public:
  /// Whether what was read changes from sample to sample.
  enum AnimationState {
    Static = 0,   ///< the same in every sample, or not found
    Animated = 1  ///< read from the sample's own data
  };

  /// A copy is a view of the same object of the same cache.
  ///@{
  VekHelperObj(const VekHelperObj& other);
  VekHelperObj& operator=(const VekHelperObj& other);
  ///@}
  /// Frees the view; the only way to do so. Does nothing on a null view.
  void destroy();

  /// The object's full name, owned by the cache; empty for an object that is not in the cache.
  const std::string& getName() const;
  /// The part of the full name after its last "|".
  std::string getLeafName() const;
  /// The cache, which the view does not own.
  const VekRoMemCache* getParentCache();
  /// Whether the view is of that kind: "helperObj" for every view, and "transform", "locator",
  /// "lxcoordsystem", "geometry", "mesh", "nurbssurface", "nurbscurve".
  bool isA(const std::string& category);
  /// All that isA() answers true for.
  const std::set<std::string>& categories();

  /// Whether a chunk with that tag stands in the object's definition or first sample.
  bool objectHas(unsigned tag);
  /// Whether it stands in the first sample and not in the definition.
  AnimationState isAnimated(unsigned tag);
  /// The same for the tag FREE.
  AnimationState isAnimated();
  /// Throws the bool value false for an index outside the attributes of an object with a definition
  /// of attributes.
  AnimationState isAttrAnimated(int attrIndex);
  /// Static and animated attributes together.
  int getNumAttrs();
  /// -1 when there is none of that name.
  int findAttr(const std::string& name) const;
  /// The name of an attribute, and the name of its type. Both throw as isAttrAnimated() does.
  ///@{
  std::string getAttrName(int attrIndex) const;
  std::string getAttrType(int attrIndex) const;
  ///@}
  /// The name of the value type of an attribute's data, "undef" when there is none.
  std::string getAttrDataType(int sampleIndex, int attrIndex) const;
  /// The name of the value type of the object's chunk with that tag at sample 0, or "undef".
  std::string getObjectType(unsigned tag);
  /// The cache's first time, in frames.
  float getFirstTime();
  /// The position of a time between two samples, as a part of their distance, for uniform sampling;
  /// else the fractional part of the time. Negative before the first time.
  float getTimeFraction(float time);

  /// Finds a chunk in the object's definition, else in the sample; `chunk` is null when there is
  /// none. Returns whether it came from the sample.
  AnimationState findChunk(int sampleIndex, unsigned tag, const VekChunk*& chunk);
  /// The first direct child of a group with that tag, else null.
  const VekChunk* searchChunk(const VekGroupChunk* group, unsigned tag);
  /// Components per element: 1, 2, 3, 4, 9 or 16; 0 for any other dimension and a null chunk.
  int getDimension(const VekChunk* chunk) const;

  /// Points `data` at an attribute's values, without a copy. On failure `data` is null; `dimension`
  /// is set whenever the attribute has data, also of another type: values are never converted.
  ///@{
  bool getAttrData(int sampleIndex, int attrIndex, const std::vector<int>*& data, int& dimension);
  bool getAttrData(int sampleIndex, int attrIndex, const std::vector<__int64>*& data,
                   int& dimension);
  bool getAttrData(int sampleIndex, int attrIndex, const std::vector<float>*& data, int& dimension);
  bool getAttrData(int sampleIndex, int attrIndex, const std::vector<double>*& data,
                   int& dimension);
  bool getAttrData(int sampleIndex, int attrIndex, const std::vector<std::string>*& data);
  ///@}

  /// Copies an attribute's values. `values` is as it was after a failure.
  ///@{
  bool getAttr(int sampleIndex, int attrIndex, std::vector<int>& values, int& dimension);
  bool getAttr(int sampleIndex, int attrIndex, std::vector<__int64>& values, int& dimension);
  bool getAttr(int sampleIndex, int attrIndex, std::vector<float>& values, int& dimension);
  bool getAttr(int sampleIndex, int attrIndex, std::vector<double>& values, int& dimension);
  bool getAttr(int sampleIndex, int attrIndex, std::vector<std::string>& values);
  ///@}

  /// The bounding box: xmin, xmax, ymin, ymax, zmin, zmax, or with `pointOrder` xmin, ymin, zmin,
  /// xmax, ymax, zmax. Stored with the object, else computed from its positions.
  bool getBounds(int sampleIndex, float (&bounds)[6], AnimationState& state,
                 bool pointOrder = false);
  /// The same; `bounds` is resized to 6 in any case.
  bool getBounds(int sampleIndex, std::vector<float>& bounds, AnimationState& state,
                 bool pointOrder = false);

  /// An attribute's values at a time (frames), blended in double precision. Only attributes stored
  /// as double can be evaluated. `values` is emptied and `dimension` 0 first; after a failure
  /// `values` may hold anything.
  bool getAttrAtTime(float time, int attrIndex, VekInterpolationHints& hints,
                     std::vector<double>& values, int& dimension);

 protected:
  /// A view of an object of a cache, which it does not own.
  VekHelperObj(VekRoMemCache* cache, int objectIndex);
  virtual ~VekHelperObj();

  /// Adds to what isA() answers true for.
  void addCategory(const std::string& category);
  /// The chunk with an attribute's values, owned by the cache; null for an index out of range and
  /// for a sample without values.
  VekChunk* getAttrDataChunk(int sampleIndex, int attrIndex);

  /// Points `data` at the values of a leaf of exactly that type; null on failure.
  ///@{
  bool getVekLeafData(const VekChunk* chunk, const std::vector<int>*& data);
  bool getVekLeafData(const VekChunk* chunk, const std::vector<__int64>*& data);
  bool getVekLeafData(const VekChunk* chunk, const std::vector<float>*& data);
  bool getVekLeafData(const VekChunk* chunk, const std::vector<double>*& data);
  bool getVekLeafData(const VekChunk* chunk, const std::vector<std::string>*& data);
  ///@}

  /// Chooses the `hints.interpolation` + 1 samples to blend at a time, and their times. False when
  /// the first of them alone is the answer; its index is -1 when there is no sample at or before
  /// the time. Both vectors are empty when memory is short, and for a degree beyond reason.
  bool getEvalTimeAndSampleIndices(float time, VekInterpolationHints& hints,
                                   std::vector<int>& sampleIndices,
                                   std::vector<float>& sampleTimes);

  VekRoMemCache* m_cache;  ///< not owned; outlives the view
  int m_objectIndex;       ///< index in the cache's table of objects

  /// The samples around a time.
  struct SampleChoice {
    /// Where the time lies.
    enum Kind {
      none,  ///< no sample at or before the time
      hit,   ///< the time is that of a sample
      end,   ///< at or after the last time
      run    ///< between samples: a run of them can be blended
    };
    Kind kind;  ///< where the time lies
    int first;  ///< the first of the run, and the one that answers alone; -1 for none
    int last;   ///< the last sample of the cache

    /// The i-th of the run, which repeats the last sample.
    int index(int i) const {
      if (kind != run) return first;
      return i < last - first ? first + i : last;
    }
    /// Whether to blend the samples with a kernel of that degree.
    bool blends(int interpolation) const {
      return kind == run && interpolation >= 1 && interpolation <= 3;
    }
  };
  /// The choice of getEvalTimeAndSampleIndices(), which it traces, without allocating for it.
  SampleChoice evaluateAt(float time, VekInterpolationHints& hints);
  /// Where the time lies between two samples of a run: the first two for a linear blend, the second
  /// and the third for a higher degree.
  float getBlendPosition(const SampleChoice& choice, float time, int degree) const;

 private:
  friend class VekHelperObjFactory;

  template <typename T>
  VEK_LOCAL bool pointAtAttr(int sampleIndex, int attrIndex, const std::vector<T>*& data,
                             int& dimension);
  template <typename T>
  VEK_LOCAL bool copyAttr(int sampleIndex, int attrIndex, std::vector<T>& values, int& dimension);
  VEK_LOCAL bool copyStoredBounds(const VekChunk* box, float (&bounds)[6], bool pointOrder);
  VEK_LOCAL bool computeBounds(int sampleIndex, float (&bounds)[6], AnimationState& state,
                               bool pointOrder);
  VEK_LOCAL SampleChoice chooseSamples(float time, const VekInterpolationHints& hints) const;
  VEK_LOCAL float getChosenTime(const SampleChoice& choice, float time, int i) const;
  VEK_LOCAL void traceSamples(float time, const VekInterpolationHints& hints,
                              const std::vector<int>& sampleIndices,
                              const std::vector<float>& sampleTimes, bool blend) const;

  unsigned int m_ownCategories = 0;    ///< the library's own, by bit
  std::set<std::string> m_categories;  ///< others, and all once they were asked for
};

/// A transform: 4x4 matrices, row by row, of row vectors multiplied on the left: p' = p M, so that
/// the translation stands in elements 12, 13, 14.
class VEK_API TransformVekObj : public VekHelperObj {
 public:
  /// A copy is a view of the same object of the same cache.
  ///@{
  TransformVekObj(const TransformVekObj& other);
  TransformVekObj& operator=(const TransformVekObj& other);
  ///@}

  /// The matrix stored for a sample: 16 values. `matrix` is resized and `state` set to Static
  /// first.
  ///@{
  bool getTransformData(int sampleIndex, std::vector<float>& matrix, AnimationState& state);
  bool getTransformData(int sampleIndex, std::vector<double>& matrix, AnimationState& state);
  ///@}
  /// The matrix at a time (frames): at a sample the stored one, between samples composed from the
  /// object's transform attributes if it has any, else blended from the stored ones. False also
  /// where a sample that it is composed from cannot be read.
  ///@{
  bool getTransformAtTime(float time, VekInterpolationHints& hints, std::vector<float>& matrix,
                          AnimationState& state);
  bool getTransformAtTime(float time, VekInterpolationHints& hints, std::vector<double>& matrix,
                          AnimationState& state);
  ///@}
  /// Whether the parent's transform applies as well; true unless the object says otherwise.
  bool inheritsTransform();

 protected:
  /// For the factory, and for classes derived from this one.
  TransformVekObj(VekRoMemCache* cache, int objectIndex);
  ~TransformVekObj() override;

 private:
  friend class VekHelperObjFactory;
  enum class Composition { done, noChannels, unreadable };
  struct VEK_LOCAL Blend;
  template <typename T>
  struct VEK_LOCAL ChannelValues;
  template <typename T>
  struct VEK_LOCAL ChannelBatch;

  template <typename T>
  VEK_LOCAL bool copyMatrix(int sampleIndex, std::vector<T>& matrix, AnimationState& state);
  template <typename T>
  VEK_LOCAL bool readMatrix(int sampleIndex, T (&matrix)[16], AnimationState& state);
  template <typename T>
  VEK_LOCAL bool evaluate(float time, VekInterpolationHints& hints, std::vector<T>& matrix,
                          AnimationState& state);
  VEK_LOCAL Blend chooseBlend(float time, VekInterpolationHints& hints);
  template <typename T>
  VEK_LOCAL Composition composeChannels(const Blend& blend, T (&matrix)[16], AnimationState& state);
  template <typename T>
  VEK_LOCAL bool readHeldChannels(const Blend& blend, const VekDATRChunk& attrs,
                                  VekTransformChannels<T>& channels, bool& found,
                                  AnimationState& state);
  template <typename T>
  VEK_LOCAL bool readAllChannels(const Blend& blend, const VekDATRChunk& attrs,
                                 VekTransformChannels<T>& channels, bool& found,
                                 AnimationState& state);
  template <typename T>
  VEK_LOCAL bool readChannels(const Blend& blend, ChannelBatch<T>& batch,
                              VekTransformChannels<T>& channels, bool& found,
                              AnimationState& state);
  template <typename T>
  VEK_LOCAL T blendChannel(const Blend& blend, const ChannelValues<T>& values);
  template <typename T>
  VEK_LOCAL bool readFirstValue(int sampleIndex, int attr, T& value, bool& found);
  VEK_LOCAL bool readRotateOrder(int sampleIndex, int& order);
  template <typename T>
  VEK_LOCAL bool blendMatrices(const Blend& blend, T (&matrix)[16], AnimationState& state);
};

/// A locator: a marker in space.
class VEK_API LocatorVekObj : public VekHelperObj {
 public:
  /// A copy is a view of the same object of the same cache.
  ///@{
  LocatorVekObj(const LocatorVekObj& other);
  LocatorVekObj& operator=(const LocatorVekObj& other);
  ///@}

 protected:
  /// For the factory, and for classes derived from this one.
  LocatorVekObj(VekRoMemCache* cache, int objectIndex);
  ~LocatorVekObj() override;

 private:
  friend class VekHelperObjFactory;
};

/// A coordinate system, with settings that are read at sample 0. A setting that is missing, or of
/// another type than stated, has the default named with it.
class VEK_API LxCoordSystemVekObj : public VekHelperObj {
 public:
  /// A copy is a view of the same object of the same cache.
  ///@{
  LxCoordSystemVekObj(const LxCoordSystemVekObj& other);
  LxCoordSystemVekObj& operator=(const LxCoordSystemVekObj& other);
  ///@}

 protected:
  /// For the factory, and for classes derived from this one.
  LxCoordSystemVekObj(VekRoMemCache* cache, int objectIndex);
  ~LxCoordSystemVekObj() override;

 public:
  /// Attribute "scoped" (int), true.
  virtual bool scoped();
  /// Attribute "useAsClippingPlane" (int), true.
  virtual bool useAsClippingPlane();
  /// Attribute "displayShape" (int), 1.
  virtual int displayShape();
  /// Attribute "parentRig" (string), empty.
  virtual std::string parentRig();

 private:
  friend class VekHelperObjFactory;

  VEK_LOCAL int getSetting(const char* name, int fallback);
};

/// An object with points. Positions are x y z, or x y z w, one point after another; `dimension`
/// tells which, and is 3 for any other stored dimension.
class VEK_API GeometryVekObj : public VekHelperObj {
 public:
  /// A copy is a view of the same object of the same cache.
  ///@{
  GeometryVekObj(const GeometryVekObj& other);
  GeometryVekObj& operator=(const GeometryVekObj& other);
  ///@}

 protected:
  /// For the factory, and for classes derived from this one.
  GeometryVekObj(VekRoMemCache* cache, int objectIndex);
  ~GeometryVekObj() override;

 public:
  /// Points `data` at the stored positions, without a copy or conversion. After a failure `data` is
  /// null, `state` Static and `dimension` as it was.
  ///@{
  virtual bool getPositionData(int sampleIndex, const std::vector<double>*& data,
                               AnimationState& state, int& dimension);
  virtual bool getPositionData(int sampleIndex, const std::vector<float>*& data,
                               AnimationState& state, int& dimension);
  ///@}
  /// Copies the positions, converted when stored in the other precision.
  ///@{
  virtual bool getPosition(int sampleIndex, std::vector<double>& values, AnimationState& state,
                           int& dimension);
  virtual bool getPosition(int sampleIndex, std::vector<float>& values, AnimationState& state,
                           int& dimension);
  ///@}
  /// The positions at a time (frames), blended in single precision. Between samples only positions
  /// stored as float can be evaluated, for both forms. `values` is emptied first.
  ///@{
  virtual bool getPositionAtTime(float time, VekInterpolationHints& hints,
                                 std::vector<double>& values, AnimationState& state,
                                 int& dimension);
  virtual bool getPositionAtTime(float time, VekInterpolationHints& hints,
                                 std::vector<float>& values, AnimationState& state, int& dimension);
  ///@}
  /// Points `data` at the reference positions (attribute "rmanP__Pref" or "qorn_Pref") of the first
  /// sample. Of several the float form takes the first one, or fails when it is not stored as
  /// float; the double form takes the last one before the first that is not stored as double. After
  /// a failure `data` is null.
  ///@{
  virtual bool getPrefData(const std::vector<double>*& data, int& dimension);
  virtual bool getPrefData(const std::vector<float>*& data, int& dimension);
  ///@}

 protected:
  /// Copies the values of a float or double chunk, converted to T (float or double).
  template <typename T>
  bool getChunkValues(int sampleIndex, unsigned tag, std::vector<T>& values, bool& animated,
                      int& dimension);

  /// The number of stored knots of a direction (KNTU or KNTV); 0 when there are none or they are
  /// neither float nor double.
  int getNumKnots(int sampleIndex, unsigned tag);

 private:
  friend class VekHelperObjFactory;

  VEK_LOCAL int getPointDimension(const VekChunk* chunk) const;
  template <typename T>
  VEK_LOCAL bool pointAtPositions(int sampleIndex, const std::vector<T>*& data,
                                  AnimationState& state, int& dimension);
  template <typename T>
  VEK_LOCAL bool copyPositions(int sampleIndex, std::vector<T>& values, AnimationState& state,
                               int& dimension);
  template <typename T>
  VEK_LOCAL bool evaluatePositions(float time, VekInterpolationHints& hints, std::vector<T>& values,
                                   AnimationState& state, int& dimension);
  VEK_LOCAL const VekChunk* getPrefChunk(int attrIndex, bool& matches);
};

/// A polygon or subdivision mesh.
class VEK_API MeshVekObj : public GeometryVekObj {
 public:
  /// A copy is a view of the same object of the same cache.
  ///@{
  MeshVekObj(const MeshVekObj& other);
  MeshVekObj& operator=(const MeshVekObj& other);
  ///@}

  /// Whether the mesh is a subdivision surface rather than polygons.
  bool isSubd();

  /// Point at stored values without a copy or conversion; after a failure `data` is null and
  /// `state` Static. Vertex count of each face; point index of each face vertex; the same two for
  /// normals.
  ///@{
  bool getPcnts(int sampleIndex, const std::vector<int>*& data, AnimationState& state);
  bool getPids(int sampleIndex, const std::vector<int>*& data, AnimationState& state);
  bool getNcnts(int sampleIndex, const std::vector<int>*& data, AnimationState& state);
  bool getNids(int sampleIndex, const std::vector<int>*& data, AnimationState& state);
  ///@}
  /// Copies of the same four. After a failure `state` is Static and `values` as it was.
  ///@{
  bool getFaceVertexCnts(int sampleIndex, std::vector<int>& values, AnimationState& state);
  bool getFaceVertexIds(int sampleIndex, std::vector<int>& values, AnimationState& state);
  bool getFaceNormalVertexCnts(int sampleIndex, std::vector<int>& values, AnimationState& state);
  bool getFaceNormalVertexIds(int sampleIndex, std::vector<int>& values, AnimationState& state);
  ///@}

  /// Point at stored values, 3 per element: point normals, face normals, point velocities.
  ///@{
  bool getNormalData(int sampleIndex, const std::vector<float>*& data, AnimationState& state);
  bool getNormalData(int sampleIndex, const std::vector<double>*& data, AnimationState& state);
  bool getFaceNormalData(int sampleIndex, const std::vector<float>*& data, AnimationState& state);
  bool getFaceNormalData(int sampleIndex, const std::vector<double>*& data, AnimationState& state);
  bool getVelocityData(int sampleIndex, const std::vector<float>*& data, AnimationState& state);
  bool getVelocityData(int sampleIndex, const std::vector<double>*& data, AnimationState& state);
  ///@}
  /// Copies of the same three, converted when stored in the other precision.
  ///@{
  bool getNormals(int sampleIndex, std::vector<float>& values, AnimationState& state);
  bool getNormals(int sampleIndex, std::vector<double>& values, AnimationState& state);
  bool getFaceNormals(int sampleIndex, std::vector<float>& values, AnimationState& state);
  bool getFaceNormals(int sampleIndex, std::vector<double>& values, AnimationState& state);
  bool getVelocity(int sampleIndex, std::vector<float>& values, AnimationState& state);
  bool getVelocity(int sampleIndex, std::vector<double>& values, AnimationState& state);
  ///@}
  /// A copy of the reference positions, those stored as double before those stored as float.
  ///@{
  bool getPref(std::vector<float>& values);
  bool getPref(std::vector<double>& values);
  ///@}

 protected:
  /// For the factory, and for classes derived from this one.
  MeshVekObj(VekRoMemCache* cache, int objectIndex);
  ~MeshVekObj() override;

 private:
  friend class VekHelperObjFactory;

  template <typename T>
  VEK_LOCAL bool pointAtChunk(int sampleIndex, unsigned tag, const std::vector<T>*& data,
                              AnimationState& state);
  VEK_LOCAL bool copyInts(int sampleIndex, unsigned tag, std::vector<int>& values,
                          AnimationState& state);
  template <typename T>
  VEK_LOCAL bool copyVectors(int sampleIndex, unsigned tag, std::vector<T>& values,
                             AnimationState& state);
  template <typename T>
  VEK_LOCAL bool copyPref(std::vector<T>& values);
};

/// A NURBS curve. Control points are homogeneous, x y z 1, and complete: those of a periodic form
/// that repeat are filled in. There are none without knots, for a negative degree, for fewer knots
/// than the degree, for a period without points and for fewer stored points than the knots ask for.
class VEK_API NurbsCurveVekObj : public GeometryVekObj {
 public:
  /// A copy is a view of the same object of the same cache.
  ///@{
  NurbsCurveVekObj(const NurbsCurveVekObj& other);
  NurbsCurveVekObj& operator=(const NurbsCurveVekObj& other);
  ///@}

  /// The degree: 1 for a polygon, 3 for a cubic curve.
  bool getDegree(int sampleIndex, int& degree, AnimationState& state);
  /// "kPeriodic" is the periodic form; any other text is not.
  bool getForm(int sampleIndex, std::string& form, AnimationState& state);
  /// The stored knots: control points + degree - 1. With `addEndKnots` the first and the last one
  /// are repeated, which gives the usual number.
  ///@{
  bool getKnots(int sampleIndex, std::vector<float>& knots, AnimationState& state,
                bool addEndKnots = false);
  bool getKnots(int sampleIndex, std::vector<double>& knots, AnimationState& state,
                bool addEndKnots = false);
  ///@}
  /// Only positions stored as float are read, for both forms.
  ///@{
  bool getControlPoints(int sampleIndex, std::vector<float>& points, AnimationState& state);
  bool getControlPoints(int sampleIndex, std::vector<double>& points, AnimationState& state);
  ///@}
  /// The control points at a time (frames).
  ///@{
  bool getControlPointsAtTime(float time, VekInterpolationHints& hints, std::vector<float>& points,
                              AnimationState& state);
  bool getControlPointsAtTime(float time, VekInterpolationHints& hints, std::vector<double>& points,
                              AnimationState& state);
  ///@}

 protected:
  /// For the factory, and for classes derived from this one.
  NurbsCurveVekObj(VekRoMemCache* cache, int objectIndex);
  ~NurbsCurveVekObj() override;

 private:
  friend class VekHelperObjFactory;

  template <typename T>
  VEK_LOCAL bool readKnots(int sampleIndex, std::vector<T>& knots, AnimationState& state,
                           bool addEndKnots);
  template <typename T>
  VEK_LOCAL bool readControlPoints(int sampleIndex, std::vector<T>& points, AnimationState& state);
  template <typename T>
  VEK_LOCAL bool evaluateControlPoints(float time, VekInterpolationHints& hints,
                                       std::vector<T>& points, AnimationState& state);
};

/// A NURBS surface. Control points are as for a curve, with the V index running fastest as they are
/// stored, or the U index on request.
class VEK_API NurbsSurfaceVekObj : public GeometryVekObj {
 public:
  /// A copy is a view of the same object of the same cache.
  ///@{
  NurbsSurfaceVekObj(const NurbsSurfaceVekObj& other);
  NurbsSurfaceVekObj& operator=(const NurbsSurfaceVekObj& other);
  ///@}

  /// Degrees are 0 after a failure and when fewer than two are stored.
  bool getDegree(int sampleIndex, int& degreeU, int& degreeV, AnimationState& state);
  /// "kPeriodic" is the periodic form; any other text is not.
  bool getForm(int sampleIndex, std::string& formU, std::string& formV, AnimationState& state);
  /// The knots in both directions, as for a curve. Knots stored as double always come with their
  /// end knots added; callers rely on it.
  ///@{
  bool getKnots(int sampleIndex, std::vector<float>& knotsU, std::vector<float>& knotsV,
                AnimationState& state, bool addEndKnots = false);
  bool getKnots(int sampleIndex, std::vector<double>& knotsU, std::vector<double>& knotsV,
                AnimationState& state, bool addEndKnots = false);
  ///@}
  /// The complete control points. Only positions stored as float are read, for both forms.
  ///@{
  bool getControlPoints(int sampleIndex, std::vector<float>& points, AnimationState& state,
                        bool uFastest = false);
  bool getControlPoints(int sampleIndex, std::vector<double>& points, AnimationState& state,
                        bool uFastest = false);
  ///@}
  /// The control points at a time (frames).
  ///@{
  bool getControlPointsAtTime(float time, VekInterpolationHints& hints, std::vector<float>& points,
                              AnimationState& state, bool uFastest = false);
  bool getControlPointsAtTime(float time, VekInterpolationHints& hints, std::vector<double>& points,
                              AnimationState& state, bool uFastest = false);
  ///@}
  /// The reference positions in the order of the control points, as stored: without weights and
  /// without the repeated points of a periodic form. Reordering needs a static degree and knots.
  ///@{
  bool getPrefControlPoints(std::vector<float>& points, bool uFastest = false);
  bool getPrefControlPoints(std::vector<double>& points, bool uFastest = false);
  ///@}

  /// The values in stored order.
  using VekHelperObj::getAttr;
  /// An attribute's values, converted between float and double or between the integers, in the
  /// order of the control points; in stored order when their number is not that of the control
  /// points.
  ///@{
  bool getAttr(int sampleIndex, int attrIndex, std::vector<float>& values, int& dimension,
               bool uFastest);
  bool getAttr(int sampleIndex, int attrIndex, std::vector<double>& values, int& dimension,
               bool uFastest);
  bool getAttr(int sampleIndex, int attrIndex, std::vector<int>& values, int& dimension,
               bool uFastest);
  bool getAttr(int sampleIndex, int attrIndex, std::vector<__int64>& values, int& dimension,
               bool uFastest);
  bool getAttr(int sampleIndex, int attrIndex, std::vector<std::string>& values, bool uFastest);
  ///@}

 protected:
  /// For the factory, and for classes derived from this one.
  NurbsSurfaceVekObj(VekRoMemCache* cache, int objectIndex);
  ~NurbsSurfaceVekObj() override;

  /// The number of stored knots; 0 when there are none or they are neither float nor double.
  ///@{
  int getNumKnotUData(int sampleIndex);
  int getNumKnotVData(int sampleIndex);
  ///@}

 private:
  friend class VekHelperObjFactory;

  template <typename Stored, typename T>
  VEK_LOCAL bool copyBothKnots(const VekChunk* chunkU, const VekChunk* chunkV, bool addEndKnots,
                               std::vector<T>& knotsU, std::vector<T>& knotsV);
  template <typename T>
  VEK_LOCAL bool readKnots(int sampleIndex, std::vector<T>& knotsU, std::vector<T>& knotsV,
                           AnimationState& state, bool addEndKnots);
  template <typename T>
  VEK_LOCAL bool readControlPoints(int sampleIndex, std::vector<T>& points, AnimationState& state,
                                   bool uFastest);
  template <typename T>
  VEK_LOCAL bool evaluateControlPoints(float time, VekInterpolationHints& hints,
                                       std::vector<T>& points, AnimationState& state,
                                       bool uFastest);
  template <typename Stored, typename T>
  VEK_LOCAL bool getSurfaceAttrValues(int sampleIndex, const std::vector<Stored>& stored,
                                      int dimension, std::vector<T>& values, bool uFastest);
  template <typename First, typename Second, typename T>
  VEK_LOCAL bool readAttr(int sampleIndex, int attrIndex, std::vector<T>& values, int& dimension,
                          bool uFastest);
  template <typename T>
  VEK_LOCAL bool readPrefControlPoints(std::vector<T>& points, bool uFastest);
};

/// Builds views for the objects of a cache, which it does not own and which outlives the factory
/// and all of its views.
class VEK_API VekHelperObjFactory {
 public:
  /// For a cache of either kind; a null one has no objects.
  explicit VekHelperObjFactory(VekRoMemCache* cache);

  /// The view that the object's chunks call for: of XFRM, MESH, NRBS, NRBC, ELOC, LXCS and POSI the
  /// first that it has decides, else it is a plain view, as for an index outside the cache and
  /// where the marks cannot be read. Owned by the caller, who frees it with destroy(); null without
  /// a cache or when memory for the view is short.
  VekHelperObj* vekObjBuilder(int objectIndex);
  /// The full names of all objects in their order. False without a cache, and at the first object
  /// without a name: `names` then holds those before it.
  bool getObjectNames(std::vector<std::string>& names) const;

 private:
  VekRoMemCache* m_cache;
};

}  // namespace Vek

#endif
