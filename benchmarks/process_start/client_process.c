/* Submits one task by file with velmo.h, and ends. */

#include <stdio.h>
#include <velmo/velmo.h>

enum { kTimeoutMs = 10000 };

int main(void) {
  const velmo_task task = {
      .size = sizeof task, .priority_class = "Normal", .command = "true", .job = "bench"};
  velmo_installation* installation = NULL;
  velmo_error error;
  velmo_status status = velmo_open(NULL, &installation, &error);
  if (status == VELMO_OK) {
    status = velmo_submit(installation, &task, kTimeoutMs, 0, NULL, &error);
  }
  if (status != VELMO_OK) {
    fprintf(stderr, "client_process: %s\n", error.message);
  }
  velmo_close(installation);
  return status;
}
