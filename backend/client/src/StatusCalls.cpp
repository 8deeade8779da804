#include "velmo.h"

const char* velmo_status_text(velmo_status status) {
  switch (status) {
    case VELMO_OK:
      return "success";
    case VELMO_INVALID_ARGUMENT:
      return "invalid argument";
    case VELMO_NOT_CONFIGURED:
      return "not configured";
    case VELMO_NOT_RUNNING:
      return "the service is not running";
    case VELMO_TIMED_OUT:
      return "timed out";
    case VELMO_STOPPED:
      return "stopped";
    case VELMO_SYSTEM_ERROR:
      return "system error";
    case VELMO_OUT_OF_MEMORY:
      return "out of memory";
    case VELMO_UNREACHABLE:
      return "the service is unreachable";
    case VELMO_CONNECTION_LOST:
      return "connection lost";
    case VELMO_REFUSED:
      return "refused by the service";
    case VELMO_IN_DOUBT:
      return "the task may be queued";
    case VELMO_NOT_FOUND:
      return "not found";
    case VELMO_UNEXPECTED_REPLY:
      return "unexpected reply";
    default:
      return "unknown status";
  }
}

const char* velmo_version(void) {
  return "1.0.0";
}
