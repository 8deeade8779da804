#ifndef VELMO_TEST_PARALLELPROCESSES_H
#define VELMO_TEST_PARALLELPROCESSES_H

#include <functional>
#include <vector>

namespace velmo::test {

/// Runs `work` in `count` child processes, which begin together once all of them are there, and
/// waits for their ends. `work` takes the number of its process and returns its exit status; an
/// exception is the exit status 255.
/// @return each exit status, or minus the signal that ended the process
std::vector<int> inProcesses(int count, const std::function<int(int number)>& work);

}  // namespace velmo::test

#endif
