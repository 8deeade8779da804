#ifndef VELMO_PROCESSMARK_H
#define VELMO_PROCESSMARK_H

#include <sys/types.h>

namespace velmo::client {

/// Tells the process that made the object from its forked children, without a system call: the
/// kernel clears a page of memory in them. Where the kernel cannot do that, the process ids are
/// compared, with a system call each time.
class ProcessMark {
 public:
  ProcessMark();
  ProcessMark(const ProcessMark&) = delete;
  ProcessMark& operator=(const ProcessMark&) = delete;
  ~ProcessMark();

  /// Whether the calling process made the object.
  bool isOfThisProcess() const;

 private:
  volatile unsigned char* m_page;  // null where the kernel cannot clear it
  pid_t m_process;
};

}  // namespace velmo::client

#endif
