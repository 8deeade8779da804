/* Only the system calls that nobody can leave out, with everything else prepared. What remains
   above this is the cost of a library. A resident process. usage: floor_road by-file | by-file-10mb
   | by-file-new-job | job-number | job-hit | job-hit-max-age | by-message PORT | connection PORT
   The roads by file and of jobs need an installation, by message a service on PORT of this
   machine. */

#define _DEFAULT_SOURCE

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include "large_command.h"
#include "resident.h"

enum { PATH_SIZE = 4096, KEYS = 100, DIGITS = 10, FOR_ALL = IPC_CREAT | 0666 };

/* A path with a number in it, of which only the digits change. */
struct numbered_path {
  char text[PATH_SIZE];
  char* digits;
};

static const char* content = "true\n";
static size_t content_size = 5;
static key_t segment_key;
static key_t semaphore_key;
static struct numbered_path temporary;
static struct numbered_path queued;
static char lock_path[PATH_SIZE];
static char counter_path[PATH_SIZE];
static char copy_path[PATH_SIZE];
static char identity_path[PATH_SIZE];

static void set_digits(char* digits, unsigned number) {
  for (int i = DIGITS; i-- > 0; number /= 10) {
    digits[i] = (char)('0' + number % 10);
  }
}

static void prepare_path(struct numbered_path* path, const char* variable, const char* folder) {
  static const char zeros[] = "0000000000";
  const int length =
      snprintf(path->text, PATH_SIZE, "%s%s/0500.20261122110939.J1.S0.T20261122110939-%s",
               getenv(variable), folder, zeros);
  path->digits = path->text + length - DIGITS;
  strcat(path->text, ".R0000.sh");
}

static void prepare_files(void) {
  segment_key = (key_t)atol(getenv("SHARED_VELMO_TASKID"));
  semaphore_key = (key_t)atol(getenv("SEMAPHORE_VELMO_TASKID"));
  prepare_path(&temporary, "TMP", "");
  prepare_path(&queued, "VAR", "/taskqueue");
  snprintf(lock_path, PATH_SIZE, "%s/semaphore_velmo_jobid", getenv("LOCK_VAR"));
  snprintf(counter_path, PATH_SIZE, "%s/velmo/jobid", getenv("DATA"));
  snprintf(copy_path, PATH_SIZE, "%s/velmo/jobid_tmp", getenv("DATA"));
  snprintf(identity_path, PATH_SIZE, "%s/serverid.cfg", getenv("CONF"));
}

static int write_content(const char* path, const char* text, size_t size) {
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  const ssize_t written = write(file, text, size);
  return close(file) != 0 || written != (ssize_t)size;
}

/* Reads to the end, as a reader must that does not know the size. */
static size_t read_content(const char* path, char* buffer, size_t size) {
  const int file = open(path, O_RDONLY);
  const ssize_t length = read(file, buffer, size);
  char beyond;
  const ssize_t end = read(file, &beyond, 1);
  close(file);
  return length > 0 && end == 0 ? (size_t)length : 0;
}

static unsigned next_task_id(void) {
  struct sembuf change = {0, -1, SEM_UNDO};
  const int semaphore = semget(semaphore_key, 1, FOR_ALL);
  if (semop(semaphore, &change, 1) != 0) {
    return 0;
  }
  int* const counter = shmat(shmget(segment_key, sizeof(int), FOR_ALL), NULL, 0);
  const int id = ++*counter;
  shmdt(counter);
  change.sem_op = 1;
  return semop(semaphore, &change, 1) == 0 ? (unsigned)id : 0;
}

static int submit(void) {
  const unsigned id = next_task_id();
  set_digits(temporary.digits, id);
  set_digits(queued.digits, id);
  return write_content(temporary.text, content, content_size) || access(queued.text, F_OK) == 0 ||
         rename(temporary.text, queued.text) != 0;
}

static int draw_job_number(void) {
  static unsigned number;
  char digits[DIGITS];
  char buffer[BUFSIZ];
  const int lock = open(lock_path, O_RDONLY | O_CREAT | O_EXCL, 0660);
  if (lock < 0) {
    return 1;
  }
  close(lock);
  read_content(counter_path, buffer, sizeof buffer);
  set_digits(digits, ++number % 1000000);
  const int failed = write_content(copy_path, digits + DIGITS - 6, 6);
  const int unmoved = rename(copy_path, counter_path);
  read_content(identity_path, buffer, sizeof buffer);
  return unlink(lock_path) != 0 || failed || unmoved;
}

static int submit_with_new_job(void) {
  return draw_job_number() || submit();
}

/* --- jobs --- */

static char jobs[KEYS][PATH_SIZE];
static int has_age;

static int mark_next_job(void) {
  static int next;
  struct stat status;
  const char* path = jobs[next];
  next = (next + 1) % KEYS;
  return (has_age && stat(path, &status) != 0) || utime(path, NULL) != 0;
}

static int serve_jobs(int age) {
  has_age = age;
  for (int i = 0; i < KEYS; ++i) {
    snprintf(jobs[i], PATH_SIZE, "%s/velmo/jobs/key%d", getenv("DATA"), i);
    close(open(jobs[i], O_WRONLY | O_CREAT, 0666));
  }
  return serve(mark_next_job);
}

/* --- messages --- */

/* The same request as the libraries send: class Normal, command true, job J1, sub-job 0. */
static const char request[] =
    "\x82\x9f\0\0\0\0\x0a\x1d\x0a\x06Normal\x12\x04true\x18\x02\x22\0\x2a\x02J1\x32\x01"
    "0\x3a\0\x40\0";
static const char close_frame[] = "\x88\x82\0\0\0\0\x03\xe8";
static const char handshake[] =
    "GET /velmo HTTP/1.1\r\norigin: localhost\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
    "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
    "Host: 127.0.0.1\r\n\r\n";
static struct sockaddr_in service;
static int connection;

static int exchange(const char* bytes, size_t size) {
  char reply[4096];
  return send(connection, bytes, size, 0) != (ssize_t)size ||
         recv(connection, reply, sizeof reply, 0) <= 0;
}

static int send_task(void) {
  return exchange(request, sizeof request - 1);
}

static int open_connection(void) {
  const int on = 1;
  connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(connection, (const struct sockaddr*)&service, sizeof service) != 0) {
    return 1;
  }
  setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return exchange(handshake, sizeof handshake - 1);
}

static int connect_and_send(void) {
  const int failed =
      open_connection() || send_task() || exchange(close_frame, sizeof close_frame - 1);
  return close(connection) != 0 || failed;
}

static int serve_messages(const char* road, const char* port) {
  service.sin_family = AF_INET;
  service.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  service.sin_port = htons((unsigned short)atoi(port));
  if (strcmp(road, "connection") == 0) {
    return serve(connect_and_send);
  }
  return open_connection() ? 1 : serve(send_task);
}

static int serve_files(const char* road) {
  prepare_files();
  if (strcmp(road, "by-file-10mb") == 0) {
    content = large_command();
    content_size = strlen(content);
  }
  if (strcmp(road, "by-file-new-job") == 0) {
    return serve(submit_with_new_job);
  }
  if (strcmp(road, "job-number") == 0) {
    return serve(draw_job_number);
  }
  return serve(submit);
}

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: floor_road ROAD [PORT]\n");
    return 2;
  }
  if (argc > 2 && (strcmp(argv[1], "by-message") == 0 || strcmp(argv[1], "connection") == 0)) {
    return serve_messages(argv[1], argv[2]);
  }
  if (strncmp(argv[1], "job-hit", 7) == 0) {
    return serve_jobs(strcmp(argv[1], "job-hit-max-age") == 0);
  }
  return serve_files(argv[1]);
}
