// The one shared instance of a class.
#pragma once

namespace ferrun {

/// Gives access to the one instance of T, which is built by the first caller (exactly once,
/// whatever the threads) and destroyed at process exit.
template <class T>
class Singleton {
 public:
  static T* getInstance() {
    static T instance;
    return &instance;
  }
};

}  // namespace ferrun
