// A program that links both libraries, which contain the same units.

#include <velmo/CreateTaskFile.h>
#include <velmo/velmo.hpp>

#include <iostream>
#include <string>

int main() {
  const velmo::Installation installation{velmo::Settings{}};
  const bool hasFindings = !installation.check().empty();
  const int status = createTaskFile(nullptr, "", nullptr, nullptr, nullptr, nullptr, nullptr, 0);
  std::cout << velmo::childSubJob("0_a", "b") << ", " << (hasFindings ? "findings" : "no findings")
            << ", " << status << '\n';
  return 0;
}
