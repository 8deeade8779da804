/* Submits a task to the velmo service of this machine, in C. If that fails, it prints the reason
 * and everything else that is wrong with the installation, and exits with the status of the call.
 *
 * The environment describes the installation. To try this program without a service:
 *
 *   velmo-standin -- submit_from_c
 */

#include <stdio.h>
#include <string.h>
#include <velmo/velmo.h>

static void printFinding(void* user, const velmo_error* finding) {
  (void)user;
  fprintf(stderr, "- %s\n", finding->message);
}

static velmo_status submit(const velmo_installation* installation) {
  velmo_task task;
  velmo_error error;
  char name[VELMO_NAME_SIZE];
  velmo_status status;

  memset(&task, 0, sizeof task); /* all that is not set is the default */
  task.size = sizeof task;
  task.priority_class = "Normal";
  task.command = "echo hello";

  status = velmo_submit(installation, &task, 5000, VELMO_DURABLE, name, &error);
  switch (status) {
    case VELMO_OK:
      printf("queued %s\n", name);
      break;
    case VELMO_IN_DOUBT: /* submitting it again may run it twice */
      fprintf(stderr, "look before you repeat: %s\n", error.message);
      break;
    default: /* certainly not queued */
      fprintf(stderr, "not queued: %s\n", error.message);
      velmo_check(installation, &task, printFinding, NULL);
      break;
  }
  return status;
}

int main(void) {
  velmo_installation* installation;
  velmo_error error;
  velmo_status status = velmo_open(NULL, &installation, &error);

  if (status != VELMO_OK) {
    fprintf(stderr, "not queued: %s\n", error.message);
    return status;
  }
  status = submit(installation);
  velmo_close(installation);
  return status;
}
