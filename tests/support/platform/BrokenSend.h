#ifndef VELMO_TEST_BROKENSEND_H
#define VELMO_TEST_BROKENSEND_H

namespace velmo::test {

// A program that has BrokenSend.cpp among its sources, and exports its symbols, sends through it.

/// The next send of this process finds a broken pipe (EPIPE, and SIGPIPE).
void breakNextSend();

/// How many sends have found one.
int brokenSends();

}  // namespace velmo::test

#endif
