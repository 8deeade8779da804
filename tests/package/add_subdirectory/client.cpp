// A program of a project that contains the source tree, and uses the small library only.

#include <velmo/velmo.hpp>

static_assert(__cplusplus == 202002L, "the standard of this project, not the library's");

int main() {
  const velmo::Installation installation{velmo::Settings{}};
  return installation.check().empty() || velmo::childSubJob("0_a", "b") != "1_a_b" ? 1 : 0;
}
