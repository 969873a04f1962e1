// The one shared instance of a class.
#pragma once

namespace ferrun {

/// Access to the one instance of T. The first caller constructs it, exactly once whatever the
/// threads. It is never destroyed, so that destructors of static objects can still use it.
template <class T>
class Singleton {
 public:
  static T* getInstance() {
    static T* const instance = new T;
    return instance;
  }
};

}  // namespace ferrun
