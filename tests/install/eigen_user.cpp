// SPDX-License-Identifier: BSD-3-Clause
// The size of a type of the caller's own, which linking the library must not change.
#include <cstdio>

#include <Eigen/Core>

struct Member {
  char c;
  Eigen::Matrix4d matrix;
};

int main() {
  std::printf("%zu\n", sizeof(Member));
  return 0;
}
