// Declares a stored property with its accessors, as every record of the library
// has them: a getter with the property's name and a setter that stores and does
// nothing else.
#pragma once

#include <utility>

#define QUILLFOLD_READONLY_PROPERTY(Type, name) \
 public:                                        \
  const Type& name() const {                    \
    return name##_;                             \
  }                                             \
                                                \
 private:                                       \
  Type name##_ {}

#define QUILLFOLD_PROPERTY(Type, name, setter) \
 public:                                       \
  const Type& name() const {                   \
    return name##_;                            \
  }                                            \
  void setter(Type value) {                    \
    name##_ = std::move(value);                \
  }                                            \
                                               \
 private:                                      \
  Type name##_ {}
