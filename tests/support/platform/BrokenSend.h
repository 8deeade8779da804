#ifndef VELMO_TEST_BROKENSEND_H
#define VELMO_TEST_BROKENSEND_H

namespace velmo::test {

// A program that is built with BrokenSend.cpp and exports its symbols sends through it.

/// Makes the next send of this process fail with EPIPE and raise SIGPIPE.
void breakNextSend();

/// How many sends were made to fail.
int brokenSends();

}  // namespace velmo::test

#endif
