// Declares a stored property with its accessors, as every record of the library
// has them: a getter with the property's name and a setter that stores and does
// nothing else. What follows is public.
#pragma once

#include <type_traits>
#include <utility>

namespace quillfold {

// What a getter returns: numbers, flags and dates as they are, be they optional;
// a reference to everything else.
template <typename T>
using PropertyResult =
    std::conditional_t<std::is_trivially_copyable_v<T> && sizeof(T) <= 2 * sizeof(void*), T,
                       const T&>;

}  // namespace quillfold

#define QUILLFOLD_READONLY_PROPERTY(Type, name)    \
 private:                                          \
  Type name##_{};                                  \
                                                   \
 public:                                           \
  ::quillfold::PropertyResult<Type> name() const { \
    return name##_;                                \
  }

#define QUILLFOLD_PROPERTY(Type, name, setter) \
  QUILLFOLD_READONLY_PROPERTY(Type, name)      \
  void setter(Type value) {                    \
    name##_ = std::move(value);                \
  }
