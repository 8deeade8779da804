/* Submits one task by file with calls of the C library alone, as the libraries do it, and ends.
   It is the measure of the other programs of this folder: see compare_processes.cpp. */

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <time.h>
#include <unistd.h>

enum { kLineSize = 1024, kPathSize = 4096, kTimeSize = 64, kNameSize = 256 };

static const char* variable(const char* name) {
  const char* value = getenv(name);
  if (value == NULL) {
    fprintf(stderr, "plain_process: %s is not set\n", name);
    exit(1);
  }
  return value;
}

static _Noreturn void fail(const char* call) {
  fprintf(stderr, "plain_process: %s: %s\n", call, strerror(errno));
  exit(1);
}

/* Reads the number of the class from a file, if both exist. */
static void read_priority(const char* directory, const char* class_name, int* priority) {
  char path[kPathSize];
  snprintf(path, sizeof path, "%s/priorities.cfg", directory);
  FILE* file = fopen(path, "re");
  if (file == NULL) {
    return;
  }
  char line[kLineSize];
  char name[kLineSize];
  int number = 0;
  while (fgets(line, sizeof line, file) != NULL) {
    if (sscanf(line, "%1023[^= #] = %d", name, &number) == 2 && strcmp(name, class_name) == 0) {
      *priority = number;
    }
  }
  fclose(file);
}

static void operate(int semaphores, short change) {
  struct sembuf operation = {0, change, SEM_UNDO};
  if (semop(semaphores, &operation, 1) != 0) {
    fail("semop");
  }
}

static int next_task(void) {
  const int semaphores = semget(atoi(variable("SEMAPHORE_VELMO_TASKID")), 1, 0);
  if (semaphores < 0) {
    fail("semget");
  }
  operate(semaphores, -1);
  const int segment = shmget(atoi(variable("SHARED_VELMO_TASKID")), sizeof(int), 0);
  if (segment < 0) {
    fail("shmget");
  }
  int* const last = shmat(segment, NULL, 0);
  if ((void*)last == (void*)-1) {
    fail("shmat");
  }
  const int task = ++*last;
  shmdt(last);
  operate(semaphores, 1);
  return task;
}

static void write_file(const char* path, const char* contents) {
  const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file < 0) {
    fail("open");
  }
  const size_t size = strlen(contents);
  if (write(file, contents, size) != (ssize_t)size || close(file) != 0) {
    fail("write");
  }
}

int main(void) {
  int priority = -1;
  read_priority(variable("VELMO_HOME"), "Normal", &priority);
  read_priority(variable("CONF"), "Normal", &priority);
  const time_t now = time(NULL);
  struct tm local;
  char created[kTimeSize];
  strftime(created, sizeof created, "%Y%m%d%H%M%S", localtime_r(&now, &local));

  char written[kPathSize];
  char queued[kPathSize];
  char name[kNameSize];
  snprintf(name, sizeof name, "%04d.%s.bench.S0.T%s-%d.R0000.sh", priority, created, created,
           next_task());
  snprintf(written, sizeof written, "%s/%s", variable("TMP"), name);
  snprintf(queued, sizeof queued, "%s/taskqueue/%s", variable("VAR"), name);
  write_file(written, "true\n");
  if (rename(written, queued) != 0) {
    fail("rename");
  }
  return 0;
}
