// SPDX-License-Identifier: BSD-3-Clause
// The one shared instance of a class.
#pragma once

namespace ferrun {

/// Access to the one instance of T. The first call constructs it, also when several threads call.
/// It is never destroyed, so that destructors of static objects can still use it.
template <class T>
class Singleton {
 public:
  static T* getInstance() {
    static T* const instance = new T;
    return instance;
  }
};

}  // namespace ferrun
