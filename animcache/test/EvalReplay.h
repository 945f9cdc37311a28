// SPDX-License-Identifier: Apache-2.0
//
// Makes the calls that recorded questions name, on a cache and on views of all of its objects.

#ifndef VEK_TEST_EVAL_REPLAY_H
#define VEK_TEST_EVAL_REPLAY_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "EvalQuery.h"
#include "VekHelperObj.h"

namespace VekTest {

inline void setValues(EvalValues& to, const std::vector<float>& from) {
  to.element = 'f';
  to.reals.assign(from.begin(), from.end());
}
inline void setValues(EvalValues& to, const std::vector<double>& from) {
  to.element = 'd';
  to.reals = from;
}
inline void setValues(EvalValues& to, const std::vector<int>& from) {
  to.element = 'i';
  to.ints.assign(from.begin(), from.end());
}
inline void setValues(EvalValues& to, const std::vector<__int64>& from) {
  to.element = 'l';
  to.ints.assign(from.begin(), from.end());
}
inline void setValues(EvalValues& to, const std::vector<std::string>& from) {
  to.element = 's';
  to.texts = from;
}

/// The answer of calls that return values and cannot fail.
template <typename T>
EvalAnswer valuesAnswer(const std::vector<T>& values) {
  EvalAnswer answer;
  setValues(answer.values, values);
  return answer;
}
inline EvalAnswer valueAnswer(int value) {
  return valuesAnswer(std::vector<int>{value});
}
inline EvalAnswer valueAnswer(float value) {
  return valuesAnswer(std::vector<float>{value});
}
inline EvalAnswer valueAnswer(const std::string& value) {
  return valuesAnswer(std::vector<std::string>{value});
}

/// The answer of calls that return a chunk: its header's type, compound, dimension and length.
inline EvalAnswer chunkAnswer(const Vek::VekChunk* chunk) {
  EvalAnswer answer;
  answer.ok = chunk != nullptr;
  answer.null = chunk == nullptr;
  if (chunk == nullptr) return answer;
  const Vek::VekHeader h = chunk->getHeader();
  answer.values.element = 'i';
  answer.values.ints = {h.type, h.compound, h.dimension, h.length};
  return answer;
}

/// A value that no recorded file holds, to tell whether an output was written.
template <typename T>
T placeholder() {
  return static_cast<T>(-987654);
}
template <>
inline std::string placeholder<std::string>() {
  return "as it was";
}

/// The answer of a call that fills `numBefore` values, or a vector that holds so many before.
template <typename T, typename Call>
EvalAnswer filledAnswer(Call call, std::size_t numBefore = 3) {
  const std::vector<T> before(numBefore, placeholder<T>());
  std::vector<T> values = before;
  EvalAnswer answer;
  answer.ok = call(values);
  answer.unchanged = values == before;
  setValues(answer.values, values);
  return answer;
}

/// The answer of a call that points at a vector.
template <typename T, typename Call>
EvalAnswer pointerAnswer(Call call) {
  const std::vector<T> elsewhere(3, placeholder<T>());
  const std::vector<T>* data = &elsewhere;
  EvalAnswer answer;
  answer.ok = call(data);
  answer.null = data == nullptr;
  answer.unchanged = data == &elsewhere;
  if (data != nullptr) setValues(answer.values, *data);
  return answer;
}

/// Calls with a value of the query's element type.
template <typename Call>
EvalAnswer withReal(const EvalQuery& q, Call call) {
  if (q.element == 'f') return call(float());
  if (q.element == 'd') return call(double());
  throw std::runtime_error("not an element type of this accessor");
}
template <typename Call>
EvalAnswer withNumber(const EvalQuery& q, Call call) {
  if (q.element == 'i') return call(int());
  if (q.element == 'l') return call(std::int64_t());
  return withReal(q, call);
}

class EvalReplay {
 public:
  explicit EvalReplay(Vek::VekRoMemCache& cache) : m_cache(cache) {
    Vek::VekHelperObjFactory factory(&cache);
    for (int i = 0; i < cache.getNumObjects(); ++i) {
      m_views.emplace_back(factory.vekObjBuilder(i));
    }
    addCacheAccessors();
    addSampleAccessors();
    addViewAccessors();
    addAttrAccessors();
    addTimeAccessors();
    addTransformAccessors();
    addGeometryAccessors();
    addMeshAccessors();
    addCurveAccessors();
    addSurfaceAccessors();
  }

  /// Makes the call; `problem` is set when it cannot be made or throws.
  EvalAnswer run(const EvalQuery& q) {
    EvalAnswer answer;
    try {
      const auto found = m_accessors.find(q.accessor);
      if (found == m_accessors.end()) throw std::runtime_error("unknown accessor");
      m_hints.interpolation = q.degree;
      // The state starts as what it must not stay.
      m_state = q.state == "0" ? View::Animated : View::Static;
      m_dimension = dimensionBefore;
      answer = found->second(q);
      answer.state = m_state;
      answer.dimension = m_dimension;
    } catch (const std::exception& e) {
      answer.problem = e.what();
    } catch (bool) {
      answer.problem = "the call threw the attribute index check";
    }
    return answer;
  }

 private:
  using View = Vek::VekHelperObj;
  using Query = const EvalQuery&;

  struct Destroy {
    void operator()(View* view) const { view->destroy(); }
  };

  /// Opens the protected choice of samples.
  struct OpenView : View {
    static auto choice() { return &OpenView::getEvalTimeAndSampleIndices; }
  };

  View& view(Query q) { return *m_views.at(static_cast<std::size_t>(q.object)); }
  template <typename T>
  T& viewAs(Query q) {
    auto* typed = dynamic_cast<T*>(&view(q));
    if (typed == nullptr) throw std::runtime_error("the view is of another class");
    return *typed;
  }

  void addCacheAccessors() {
    m_accessors["c.head"] = [this](Query) {
      return valuesAnswer(std::vector<__int64>{
          m_cache.getVersion(), m_cache.getNumSamples(), m_cache.getSpace(), m_cache.getDateStamp(),
          m_cache.getNumObjects(), m_cache.isNonUniform(), m_cache.isAnimated()});
    };
    m_accessors["c.times"] = [this](Query) {
      return valuesAnswer(
          std::vector<float>{m_cache.getFirstTime(), m_cache.getLastTime(), m_cache.getRate()});
    };
    m_accessors["c.texts"] = [this](Query) {
      return valuesAnswer(
          std::vector<std::string>{m_cache.getApplication(), m_cache.getSourceFile()});
    };
    m_accessors["c.index"] = [this](Query q) {
      return valueAnswer(m_cache.getSampleIndex(q.time));
    };
    m_accessors["c.floor"] = [this](Query q) {
      return valueAnswer(m_cache.getMaxSampleIndexNotGreaterThan(q.time));
    };
    m_accessors["c.ceil"] = [this](Query q) {
      return valueAnswer(m_cache.getMinSampleIndexNotLessThan(q.time));
    };
    m_accessors["c.time"] = [this](Query q) {
      return valueAnswer(m_cache.getSampleTime(q.sample));
    };
    m_accessors["c.find"] = [this](Query q) {
      return valueAnswer(m_cache.findObjectIndex(q.text(), q.flag));
    };
    m_accessors["c.short"] = [](Query q) {
      return valueAnswer(Vek::VekCache::shortName(q.text()));
    };
    m_accessors["c.name"] = [this](Query q) { return valueAnswer(m_cache.getName(q.object)); };
    m_accessors["c.has"] = [this](Query q) {
      return valueAnswer(int{m_cache.objectHas(q.object, q.tag())});
    };
    m_accessors["c.anim"] = [this](Query q) {
      return valueAnswer(int{m_cache.isObjectAnimated(q.object, q.tag())});
    };
  }

  void addSampleAccessors() {
    m_accessors["c.nverts"] = [this](Query q) {
      return valueAnswer(m_cache.getNumVertices(q.sample, q.object));
    };
    m_accessors["c.attr"] = [this](Query q) {
      return chunkAnswer(m_cache.getAttrData(q.sample, q.object, q.number()));
    };
    m_accessors["c.data"] = [this](Query q) {
      bool animated = m_state == View::Animated;
      const EvalAnswer answer =
          chunkAnswer(m_cache.getObjectData(q.sample, q.object, q.tag(), &animated));
      m_state = animated ? View::Animated : View::Static;
      return answer;
    };
    m_accessors["c.child"] = [this](Query q) {
      return chunkAnswer(m_cache.getSample(q.sample, q.object, q.tag(), nullptr));
    };
  }

  void addViewAccessors() {
    m_accessors["v.kind"] = [this](Query q) { return valueAnswer(kindOf(&view(q))); };
    m_accessors["v.name"] = [this](Query q) { return valueAnswer(view(q).getName()); };
    m_accessors["v.leaf"] = [this](Query q) { return valueAnswer(view(q).getLeafName()); };
    m_accessors["v.cats"] = [this](Query q) {
      const std::set<std::string>& words = view(q).categories();
      return valuesAnswer(std::vector<std::string>(words.begin(), words.end()));
    };
    m_accessors["v.isa"] = [this](Query q) { return valueAnswer(int{view(q).isA(q.text())}); };
    m_accessors["v.has"] = [this](Query q) { return valueAnswer(int{view(q).objectHas(q.tag())}); };
    m_accessors["v.anim"] = [this](Query q) {
      return valueAnswer(int{q.hasArgument() ? view(q).isAnimated(q.tag()) : view(q).isAnimated()});
    };
    m_accessors["v.objtype"] = [this](Query q) {
      return valueAnswer(view(q).getObjectType(q.tag()));
    };
    m_accessors["v.first"] = [this](Query q) { return valueAnswer(view(q).getFirstTime()); };
    m_accessors["v.frac"] = [this](Query q) {
      return valueAnswer(view(q).getTimeFraction(q.time));
    };
    m_accessors["v.chunk"] = [this](Query q) {
      const Vek::VekChunk other;
      const Vek::VekChunk* chunk = &other;
      m_state = view(q).findChunk(q.sample, q.tag(), chunk);
      return chunkAnswer(chunk);
    };
    m_accessors["v.bounds"] = [this](Query q) {
      const bool pointOrder = q.flag != 0;
      return filledAnswer<float>(
          [&](std::vector<float>& values) {
            if (q.element == 'v') return view(q).getBounds(q.sample, values, m_state, pointOrder);
            float bounds[6];
            std::copy_n(values.begin(), 6, bounds);
            const bool ok = view(q).getBounds(q.sample, bounds, m_state, pointOrder);
            values.assign(bounds, bounds + 6);
            return ok;
          },
          6);
    };
  }

  static std::string kindOf(View* view) {
    if (dynamic_cast<Vek::TransformVekObj*>(view) != nullptr) return "xfrm";
    if (dynamic_cast<Vek::LocatorVekObj*>(view) != nullptr) return "loc";
    if (dynamic_cast<Vek::LxCoordSystemVekObj*>(view) != nullptr) return "lxcs";
    if (dynamic_cast<Vek::MeshVekObj*>(view) != nullptr) return "mesh";
    if (dynamic_cast<Vek::NurbsSurfaceVekObj*>(view) != nullptr) return "surf";
    if (dynamic_cast<Vek::NurbsCurveVekObj*>(view) != nullptr) return "curve";
    if (dynamic_cast<Vek::GeometryVekObj*>(view) != nullptr) return "geo";
    return "plain";
  }

  void addAttrAccessors() {
    m_accessors["v.nattr"] = [this](Query q) { return valueAnswer(view(q).getNumAttrs()); };
    m_accessors["v.findattr"] = [this](Query q) { return valueAnswer(view(q).findAttr(q.text())); };
    m_accessors["v.attrname"] = [this](Query q) {
      return valueAnswer(view(q).getAttrName(q.number()));
    };
    m_accessors["v.attrtype"] = [this](Query q) {
      return valueAnswer(view(q).getAttrType(q.number()));
    };
    m_accessors["v.attranim"] = [this](Query q) {
      return valueAnswer(int{view(q).isAttrAnimated(q.number())});
    };
    m_accessors["v.attrdtype"] = [this](Query q) {
      return valueAnswer(view(q).getAttrDataType(q.sample, q.number()));
    };
    m_accessors["v.attrdata"] = [this](Query q) {
      using Strings = const std::vector<std::string>*&;
      if (q.element == 's') {
        return pointerAnswer<std::string>(
            [&](Strings data) { return view(q).getAttrData(q.sample, q.number(), data); });
      }
      return withNumber(q, [&](auto zero) {
        return pointerAnswer<decltype(zero)>([&](auto*& data) {
          return view(q).getAttrData(q.sample, q.number(), data, m_dimension);
        });
      });
    };
    m_accessors["v.attr"] = [this](Query q) {
      if (q.element == 's') {
        return filledAnswer<std::string>([&](std::vector<std::string>& values) {
          return view(q).getAttr(q.sample, q.number(), values);
        });
      }
      return withNumber(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& values) {
          return view(q).getAttr(q.sample, q.number(), values, m_dimension);
        });
      });
    };
  }

  void addTimeAccessors() {
    m_accessors["v.attrat"] = [this](Query q) {
      return filledAnswer<double>([&](std::vector<double>& values) {
        return view(q).getAttrAtTime(q.time, q.number(), m_hints, values, m_dimension);
      });
    };
    m_accessors["v.eval"] = [this](Query q) {
      std::vector<int> indices;
      std::vector<float> times;
      const bool ok = (view(q).*OpenView::choice())(q.time, m_hints, indices, times);
      std::vector<float> both(indices.begin(), indices.end());
      both.insert(both.end(), times.begin(), times.end());
      EvalAnswer answer = valuesAnswer(both);
      answer.ok = ok;
      return answer;
    };
  }

  void addTransformAccessors() {
    m_accessors["x.data"] = [this](Query q) {
      auto& transform = viewAs<Vek::TransformVekObj>(q);
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>(
            [&](auto& matrix) { return transform.getTransformData(q.sample, matrix, m_state); });
      });
    };
    m_accessors["x.at"] = [this](Query q) {
      auto& transform = viewAs<Vek::TransformVekObj>(q);
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& matrix) {
          return transform.getTransformAtTime(q.time, m_hints, matrix, m_state);
        });
      });
    };
    m_accessors["x.inherits"] = [this](Query q) {
      return valueAnswer(int{viewAs<Vek::TransformVekObj>(q).inheritsTransform()});
    };
    using System = Vek::LxCoordSystemVekObj;
    m_accessors["l.scoped"] = [this](Query q) {
      return valueAnswer(int{viewAs<System>(q).scoped()});
    };
    m_accessors["l.clip"] = [this](Query q) {
      return valueAnswer(int{viewAs<System>(q).useAsClippingPlane()});
    };
    m_accessors["l.shape"] = [this](Query q) {
      return valueAnswer(viewAs<System>(q).displayShape());
    };
    m_accessors["l.rig"] = [this](Query q) { return valueAnswer(viewAs<System>(q).parentRig()); };
  }

  void addGeometryAccessors() {
    using Geometry = Vek::GeometryVekObj;
    m_accessors["g.posdata"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return pointerAnswer<decltype(zero)>([&](auto*& data) {
          return viewAs<Geometry>(q).getPositionData(q.sample, data, m_state, m_dimension);
        });
      });
    };
    m_accessors["g.pos"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& values) {
          return viewAs<Geometry>(q).getPosition(q.sample, values, m_state, m_dimension);
        });
      });
    };
    m_accessors["g.posat"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& values) {
          return viewAs<Geometry>(q).getPositionAtTime(q.time, m_hints, values, m_state,
                                                       m_dimension);
        });
      });
    };
    m_accessors["g.prefdata"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return pointerAnswer<decltype(zero)>(
            [&](auto*& data) { return viewAs<Geometry>(q).getPrefData(data, m_dimension); });
      });
    };
  }

  void addMeshAccessors() {
    using Mesh = Vek::MeshVekObj;
    m_accessors["m.subd"] = [this](Query q) { return valueAnswer(int{viewAs<Mesh>(q).isSubd()}); };
    addMeshPointer("m.pcnts", &Mesh::getPcnts);
    addMeshPointer("m.pids", &Mesh::getPids);
    addMeshPointer("m.ncnts", &Mesh::getNcnts);
    addMeshPointer("m.nids", &Mesh::getNids);
    addMeshCopy("m.fvc", &Mesh::getFaceVertexCnts);
    addMeshCopy("m.fvi", &Mesh::getFaceVertexIds);
    addMeshCopy("m.fnvc", &Mesh::getFaceNormalVertexCnts);
    addMeshCopy("m.fnvi", &Mesh::getFaceNormalVertexIds);
    addMeshVectors("m.ndata", "m.n", &Mesh::getNormalData, &Mesh::getNormalData, &Mesh::getNormals,
                   &Mesh::getNormals);
    addMeshVectors("m.fndata", "m.fn", &Mesh::getFaceNormalData, &Mesh::getFaceNormalData,
                   &Mesh::getFaceNormals, &Mesh::getFaceNormals);
    addMeshVectors("m.veldata", "m.vel", &Mesh::getVelocityData, &Mesh::getVelocityData,
                   &Mesh::getVelocity, &Mesh::getVelocity);
    m_accessors["m.pref"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>(
            [&](auto& values) { return viewAs<Mesh>(q).getPref(values); });
      });
    };
  }

  template <typename T>
  using MeshPointer = bool (Vek::MeshVekObj::*)(int, const std::vector<T>*&, View::AnimationState&);
  template <typename T>
  using MeshCopy = bool (Vek::MeshVekObj::*)(int, std::vector<T>&, View::AnimationState&);

  template <typename T>
  EvalAnswer callMeshPointer(Query q, MeshPointer<T> get) {
    return pointerAnswer<T>([&](const std::vector<T>*& data) {
      return (viewAs<Vek::MeshVekObj>(q).*get)(q.sample, data, m_state);
    });
  }
  template <typename T>
  EvalAnswer callMeshCopy(Query q, MeshCopy<T> get) {
    return filledAnswer<T>([&](std::vector<T>& values) {
      return (viewAs<Vek::MeshVekObj>(q).*get)(q.sample, values, m_state);
    });
  }
  void addMeshPointer(const char* name, MeshPointer<int> get) {
    m_accessors[name] = [this, get](Query q) { return callMeshPointer(q, get); };
  }
  void addMeshCopy(const char* name, MeshCopy<int> get) {
    m_accessors[name] = [this, get](Query q) { return callMeshCopy(q, get); };
  }
  void addMeshVectors(const char* pointerName, const char* copyName, MeshPointer<float> pointF,
                      MeshPointer<double> pointD, MeshCopy<float> copyF, MeshCopy<double> copyD) {
    m_accessors[pointerName] = [this, pointF, pointD](Query q) {
      return q.element == 'f' ? callMeshPointer(q, pointF) : callMeshPointer(q, pointD);
    };
    m_accessors[copyName] = [this, copyF, copyD](Query q) {
      return q.element == 'f' ? callMeshCopy(q, copyF) : callMeshCopy(q, copyD);
    };
  }

  void addCurveAccessors() {
    using Curve = Vek::NurbsCurveVekObj;
    m_accessors["nc.degree"] = [this](Query q) {
      return filledAnswer<int>(
          [&](auto& v) { return viewAs<Curve>(q).getDegree(q.sample, v[0], m_state); }, 1);
    };
    m_accessors["nc.form"] = [this](Query q) {
      return filledAnswer<std::string>(
          [&](auto& v) { return viewAs<Curve>(q).getForm(q.sample, v[0], m_state); }, 1);
    };
    m_accessors["nc.knots"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& knots) {
          return viewAs<Curve>(q).getKnots(q.sample, knots, m_state, q.flag != 0);
        });
      });
    };
    m_accessors["nc.cp"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& points) {
          return viewAs<Curve>(q).getControlPoints(q.sample, points, m_state);
        });
      });
    };
    m_accessors["nc.cpat"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& points) {
          return viewAs<Curve>(q).getControlPointsAtTime(q.time, m_hints, points, m_state);
        });
      });
    };
  }

  void addSurfaceAccessors() {
    using Surface = Vek::NurbsSurfaceVekObj;
    m_accessors["ns.degree"] = [this](Query q) {
      return filledAnswer<int>(
          [&](auto& v) { return viewAs<Surface>(q).getDegree(q.sample, v[0], v[1], m_state); }, 2);
    };
    m_accessors["ns.form"] = [this](Query q) {
      return filledAnswer<std::string>(
          [&](auto& v) { return viewAs<Surface>(q).getForm(q.sample, v[0], v[1], m_state); }, 2);
    };
    m_accessors["ns.knots"] = [this](Query q) {
      return withReal(q, [&](auto zero) { return surfaceKnots<decltype(zero)>(q); });
    };
    m_accessors["ns.cp"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& points) {
          return viewAs<Surface>(q).getControlPoints(q.sample, points, m_state, q.flag != 0);
        });
      });
    };
    m_accessors["ns.cpat"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& points) {
          return viewAs<Surface>(q).getControlPointsAtTime(q.time, m_hints, points, m_state,
                                                           q.flag != 0);
        });
      });
    };
    m_accessors["ns.pref"] = [this](Query q) {
      return withReal(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& points) {
          return viewAs<Surface>(q).getPrefControlPoints(points, q.flag != 0);
        });
      });
    };
    m_accessors["ns.attr"] = [this](Query q) {
      if (q.element == 's') {
        return filledAnswer<std::string>([&](std::vector<std::string>& values) {
          return viewAs<Surface>(q).getAttr(q.sample, q.number(), values, q.flag != 0);
        });
      }
      return withNumber(q, [&](auto zero) {
        return filledAnswer<decltype(zero)>([&](auto& values) {
          return viewAs<Surface>(q).getAttr(q.sample, q.number(), values, m_dimension, q.flag != 0);
        });
      });
    };
  }

  /// The knots of both directions one after another; the dimension is the number of the first.
  template <typename T>
  EvalAnswer surfaceKnots(Query q) {
    const std::vector<T> before(3, placeholder<T>());
    std::vector<T> knotsU = before;
    std::vector<T> knotsV = before;
    EvalAnswer answer;
    answer.ok =
        viewAs<Vek::NurbsSurfaceVekObj>(q).getKnots(q.sample, knotsU, knotsV, m_state, q.flag != 0);
    answer.unchanged = knotsU == before && knotsV == before;
    if (!answer.unchanged) m_dimension = static_cast<int>(knotsU.size());
    knotsU.insert(knotsU.end(), knotsV.begin(), knotsV.end());
    setValues(answer.values, knotsU);
    return answer;
  }

  Vek::VekRoMemCache& m_cache;
  std::vector<std::unique_ptr<View, Destroy>> m_views;
  std::map<std::string, std::function<EvalAnswer(Query)>> m_accessors;

  // Inputs and outputs of the call at hand.
  Vek::VekInterpolationHints m_hints;
  View::AnimationState m_state = View::Static;
  int m_dimension = dimensionBefore;
};

}  // namespace VekTest

#endif
