// Object references. Object-typed members hold shared references, so two
// holders of one object see each other's changes (a sphere's centre, a
// matrix row); an empty reference is "no object".
#pragma once

#include <memory>

#include "tavric/RuntimeError.h"

namespace tavric {

template <class T>
using Ref = std::shared_ptr<T>;

// The object behind a reference; an empty reference raises 91
// ("Object variable or With block variable not set").
template <class T>
T& Deref(const std::shared_ptr<T>& ref) {
  if (!ref) Raise(err::kObjectNotSet);
  return *ref;
}

}  // namespace tavric
