/* The work of libvelmo as a C programmer writes it by hand, with libc only: the same files, locks,
   system calls and checks, in the same order. A resident process.
   usage: plain_c_road by-file | by-file-10mb | by-file-new-job | by-file-new-job-seeded |
                       job-number | job-hit | job-hit-max-age
   All need an installation. DATA/velmo/jobs holds the files of the jobs. */

#define _DEFAULT_SOURCE

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <utime.h>

#include "large_command.h"
#include "resident.h"

enum {
  PATH_SIZE = 4096,
  NAME_SIZE = 256,
  LINE_SIZE = 65536,
  MOST_CLASSES = 64,
  KEYS = 100,
  MAX_AGE = 3600,
  LAST_JOB_NUMBER = 999999,
  LAST_TASK_ID = 0x7ffffffe,
  UNKNOWN_PRIORITY = 9999,
  FOR_ALL = IPC_CREAT | 0666
};

static const char* directory(const char* variable) {
  const char* value = getenv(variable);
  return value != NULL ? value : "(null)";
}

/* --- properties --- */

static char* trimmed(char* text) {
  while (isspace((unsigned char)*text)) {
    ++text;
  }
  for (char* end = text + strlen(text); end != text && isspace((unsigned char)end[-1]); --end) {
    end[-1] = '\0';
  }
  return text;
}

/* Splits "name = value" in place. Returns 0 for any other line. */
static int split_property(char* line, char** name, char** value) {
  while (isspace((unsigned char)*line)) {
    ++line;
  }
  char* equals = strchr(line, '=');
  if (*line == '#' || equals == NULL) {
    return 0;
  }
  *equals = '\0';
  *name = trimmed(line);
  for (char* quote = equals + 1; (quote = strchr(quote, '"')) != NULL;) {
    *quote = ' ';
  }
  *value = trimmed(equals + 1);
  return **name != '\0';
}

typedef void property_fn(const char* name, const char* value);

static void load_properties(const char* path, property_fn* take) {
  static char line[LINE_SIZE];
  char buffer[BUFSIZ];
  FILE* file = fopen(path, "rb");
  if (file == NULL) {
    return;
  }
  setvbuf(file, buffer, _IOFBF, sizeof buffer);
  while (fgets(line, sizeof line, file) != NULL) {
    char* name;
    char* value;
    if (split_property(line, &name, &value)) {
      take(name, value);
    }
  }
  fclose(file);
}

/* --- priorities, loaded once --- */

static struct {
  char name[NAME_SIZE];
  int number;
} classes[MOST_CLASSES];
static int class_count;

static int find_class(const char* name) {
  for (int i = 0; i < class_count; ++i) {
    if (strcmp(classes[i].name, name) == 0) {
      return i;
    }
  }
  return -1;
}

static void set_class(const char* name, const char* value) {
  int i = find_class(name);
  if (i < 0 && class_count < MOST_CLASSES) {
    i = class_count++;
    snprintf(classes[i].name, sizeof classes[i].name, "%s", name);
  }
  if (i >= 0) {
    classes[i].number = (int)strtol(value, NULL, 10);
  }
}

static void load_priorities(void) {
  static const char* const variables[] = {"VELMO_HOME", "CONF"};
  static int loaded;
  if (loaded) {
    return;
  }
  loaded = 1;
  for (int i = 0; i < 2; ++i) {
    char path[PATH_SIZE];
    snprintf(path, sizeof path, "%s/priorities.cfg", directory(variables[i]));
    load_properties(path, set_class);
  }
}

static int priority_of(const char* name) {
  const int i = find_class(name);
  return i < 0 ? UNKNOWN_PRIORITY : classes[i].number;
}

/* --- job identifiers --- */

static int take_job_lock(const char* lock) {
  for (int budget_ms = 30000; budget_ms > 0;) {
    const int descriptor = open(lock, O_RDONLY | O_CREAT | O_EXCL, 0660);
    if (descriptor >= 0) {
      close(descriptor);
      return 1;
    }
    if (errno != EEXIST) {
      return 0;
    }
    const int pause_ms = (int)(rand() * 980.0 / 2147483648.0) + 10;
    const struct timespec pause = {0, pause_ms * 1000000L};
    nanosleep(&pause, NULL);
    budget_ms -= pause_ms;
  }
  return 0;
}

static int read_job_number(const char* path) {
  char buffer[BUFSIZ];
  int last = 0;
  FILE* file = fopen(path, "rb");
  if (file == NULL) {
    return 0;
  }
  setvbuf(file, buffer, _IOFBF, sizeof buffer);
  const int fields = fscanf(file, "%d", &last);
  fclose(file);
  return fields != 1 || last >= LAST_JOB_NUMBER ? 0 : last + 1;
}

/* Writes the command, with each pair of percent signs as one, and an optional line end. */
static void put_folded(FILE* file, const char* text, const char* line_end) {
  for (const char* pair; (pair = strstr(text, "%%")) != NULL; text = pair + 2) {
    fwrite(text, 1, (size_t)(pair + 1 - text), file);
  }
  fputs(text, file);
  fputs(line_end, file);
}

static int write_file(const char* path, const char* text, const char* line_end) {
  char buffer[BUFSIZ];
  FILE* file = fopen(path, "wb");
  if (file == NULL) {
    return 0;
  }
  setvbuf(file, buffer, _IOFBF, sizeof buffer);
  put_folded(file, text, line_end);
  const int failed = ferror(file);
  if (fclose(file) != 0 || failed) {
    unlink(path);
    return 0;
  }
  return 1;
}

static char server_identity[NAME_SIZE];

static void take_identity(const char* name, const char* value) {
  if (strcmp(name, "SELF_SERVER_ID") == 0) {
    snprintf(server_identity, sizeof server_identity, "%s-", value);
  }
}

static int count_up(char job[NAME_SIZE]) {
  char path[PATH_SIZE];
  char copy[PATH_SIZE];
  char digits[16];
  snprintf(path, sizeof path, "%s/velmo/jobid", directory("DATA"));
  const int number = read_job_number(path);
  snprintf(copy, sizeof copy, "%s/velmo/jobid_tmp", directory("DATA"));
  snprintf(digits, sizeof digits, "%d", number);
  if (!write_file(copy, digits, "")) {
    return 0;
  }
  (void)rename(copy, path);

  snprintf(path, sizeof path, "%s/serverid.cfg", directory("CONF"));
  server_identity[0] = '\0';
  load_properties(path, take_identity);
  return snprintf(job, NAME_SIZE, "%sJ%d", server_identity, number) < NAME_SIZE;
}

static int new_job(char job[NAME_SIZE]) {
  char lock[PATH_SIZE];
  snprintf(lock, sizeof lock, "%s/semaphore_velmo_jobid", directory("LOCK_VAR"));
  if (!take_job_lock(lock)) {
    return 0;
  }
  const int counted = count_up(job);
  unlink(lock);
  return counted;
}

static int draw_job_number(void) {
  char job[NAME_SIZE];
  return new_job(job) ? 0 : 1;
}

/* --- task identifiers --- */

static int advance_counter(key_t key) {
  const int segment = shmget(key, sizeof(int), FOR_ALL);
  if (segment < 0) {
    return -1;
  }
  int* const counter = shmat(segment, NULL, 0);
  if ((long)counter == -1) {
    return -1;
  }
  const int id = *counter == LAST_TASK_ID ? 0 : *counter + 1;
  *counter = id;
  return shmdt(counter) == 0 ? id : -1;
}

static int new_task_id(void) {
  const key_t segment_key = (key_t)strtol(directory("SHARED_VELMO_TASKID"), NULL, 10);
  const key_t semaphore_key = (key_t)strtol(directory("SEMAPHORE_VELMO_TASKID"), NULL, 10);
  struct sembuf change = {0, -1, SEM_UNDO};
  const int semaphore = semget(semaphore_key, 1, FOR_ALL);
  if (semop(semaphore, &change, 1) < 0) {
    return -1;
  }
  const int id = advance_counter(segment_key);
  change.sem_op = 1;
  return semop(semaphore, &change, 1) < 0 ? -1 : id;
}

/* --- task files --- */

static const char* given_or_new(const char* job, char new_identifier[NAME_SIZE]) {
  if (job != NULL) {
    return job;
  }
  return new_job(new_identifier) ? new_identifier : "EMPTYJOB";
}

static int format_name(char name[NAME_SIZE], const char* given_job) {
  char created[32];
  char new_identifier[NAME_SIZE];
  load_priorities();
  const int priority = priority_of("Normal");
  const time_t now = time(NULL);
  struct tm local;
  localtime_r(&now, &local);
  strftime(created, sizeof created, "%Y%m%d%H%M%S", &local);
  const char* job = given_or_new(given_job, new_identifier);
  const int id = new_task_id();
  return id >= 0 && snprintf(name, NAME_SIZE, "%04d.%s.%s.S%s.T%s-%d.R%04d.%s", priority, created,
                             job, "0", created, id, 0, "sh") < NAME_SIZE;
}

static int submit(const char* job, const char* command) {
  char name[NAME_SIZE];
  char temporary[PATH_SIZE];
  char queued[PATH_SIZE];
  if (!format_name(name, job)) {
    return 1;
  }
  snprintf(temporary, sizeof temporary, "%s/%s", directory("TMP"), name);
  snprintf(queued, sizeof queued, "%s/taskqueue/%s", directory("VAR"), name);
  if (!write_file(temporary, command, "\n")) {
    return 1;
  }
  return access(queued, F_OK) == 0 || rename(temporary, queued) != 0;
}

static const char* large;

static int submit_with_job(void) {
  return submit("J1", "true");
}

static int submit_with_new_job(void) {
  return submit(NULL, "true");
}

static int submit_large(void) {
  return submit("J1", large);
}

/* --- jobs in memory --- */

static struct job {
  char key[16];
  char path[PATH_SIZE];
  time_t last_used;
} jobs[KEYS];
static char asked[KEYS][16];
static time_t max_age;

static int by_key(const void* left, const void* right) {
  return strcmp(((const struct job*)left)->key, ((const struct job*)right)->key);
}

/* Searches by the key alone: the key begins a job. */
static struct job* find_job(const char* key) {
  const time_t now = time(NULL);
  struct job* job = bsearch(key, jobs, KEYS, sizeof *jobs, by_key);
  if (job == NULL) {
    return NULL;
  }
  struct stat status;
  if (max_age != 0 && stat(job->path, &status) == 0) {
    job->last_used = status.st_mtime;
  }
  if (max_age != 0 && now - job->last_used >= max_age) {
    return NULL;
  }
  utime(job->path, NULL);
  job->last_used = time(NULL);
  return job;
}

static int find_next_job(void) {
  static int next;
  const struct job* job = find_job(asked[next]);
  next = (next + 1) % KEYS;
  return job != NULL ? 0 : 1;
}

static int serve_jobs(time_t age) {
  max_age = age;
  for (int i = 0; i < KEYS; ++i) {
    snprintf(asked[i], sizeof asked[i], "key%d", i);
    memcpy(jobs[i].key, asked[i], sizeof asked[i]);
    snprintf(jobs[i].path, PATH_SIZE, "%s/velmo/jobs/%s", directory("DATA"), asked[i]);
    jobs[i].last_used = time(NULL);
    write_file(jobs[i].path, "id=\"J1\"\npriority=\"0\"\n", "");
  }
  qsort(jobs, KEYS, sizeof *jobs, by_key);
  return serve(find_next_job);
}

int main(int argc, char** argv) {
  const char* road = argc > 1 ? argv[1] : "";
  if (strcmp(road, "by-file") == 0) {
    return serve(submit_with_job);
  }
  if (strcmp(road, "by-file-10mb") == 0) {
    large = large_command();
    return serve(submit_large);
  }
  if (strcmp(road, "by-file-new-job-seeded") == 0) {
    srand((unsigned)getpid());
    return serve(submit_with_new_job);
  }
  if (strcmp(road, "by-file-new-job") == 0) {
    return serve(submit_with_new_job);
  }
  if (strcmp(road, "job-number") == 0) {
    return serve(draw_job_number);
  }
  if (strcmp(road, "job-hit") == 0) {
    return serve_jobs(0);
  }
  if (strcmp(road, "job-hit-max-age") == 0) {
    return serve_jobs(MAX_AGE);
  }
  fprintf(stderr, "unknown road: %s\n", road);
  return 2;
}
