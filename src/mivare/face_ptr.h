// Scoped use of the faces that managers lend.
#pragma once

#include <memory>

namespace mivare {

struct ReleaseFace {
  template <class Face>
  void operator()(Face* face) const {
    face->Release();
  }
};

/// Calls Release on a face, if there is one, when the scope ends.
template <class Face>
using FacePtr = std::unique_ptr<Face, ReleaseFace>;

}  // namespace mivare
