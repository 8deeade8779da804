/* The roads of libvelmo-client, as a resident process.
   usage: client_road by-file | by-file-10mb | by-file-new-job | job-number | by-message PORT |
                      connection PORT
   The roads by file need an installation, by message a service on PORT of this machine. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <velmo/velmo.h>

#include "large_command.h"
#include "resident.h"

static velmo_installation* installation;
static velmo_connection* connection;
static velmo_endpoint endpoint;
static velmo_task task;

static int told(velmo_status status, const velmo_error* error) {
  if (status != VELMO_OK) {
    fprintf(stderr, "%s\n", error->message);
  }
  return status;
}

static int submit(void) {
  char name[VELMO_NAME_SIZE];
  velmo_error error;
  return told(velmo_submit(installation, &task, VELMO_NO_LIMIT, 0, name, &error), &error);
}

static int draw_job_number(void) {
  char job[VELMO_NAME_SIZE];
  velmo_error error;
  return told(velmo_new_job(installation, VELMO_NO_LIMIT, 0, job, &error), &error);
}

static int send_task(void) {
  char name[VELMO_NAME_SIZE];
  velmo_error error;
  return told(velmo_send(connection, &task, VELMO_NO_LIMIT, name, &error), &error);
}

static int open_connection(void) {
  velmo_error error;
  return told(velmo_connect(&endpoint, VELMO_NO_LIMIT, &connection, &error), &error);
}

static int connect_and_send(void) {
  int status = open_connection();
  if (status == VELMO_OK) {
    status = send_task();
    velmo_disconnect(connection, VELMO_NO_LIMIT);
  }
  return status;
}

static int serve_files(velmo_operation operation) {
  velmo_error error;
  if (told(velmo_open(NULL, &installation, &error), &error) != VELMO_OK) {
    return 1;
  }
  const int status = serve(operation);
  velmo_close(installation);
  return status;
}

static int serve_messages(void) {
  if (open_connection() != VELMO_OK) {
    return 1;
  }
  const int status = serve(send_task);
  velmo_disconnect(connection, VELMO_NO_LIMIT);
  return status;
}

int main(int argc, char** argv) {
  const char* road = argc > 1 ? argv[1] : "";
  task.size = sizeof task;
  task.priority_class = "Normal";
  task.command = "true";
  task.job = "J1";
  endpoint.size = sizeof endpoint;
  endpoint.host = "127.0.0.1";
  endpoint.port = argc > 2 ? atoi(argv[2]) : 0;
  if (strcmp(road, "by-file") == 0) {
    return serve_files(submit);
  }
  if (strcmp(road, "by-file-10mb") == 0) {
    task.command = large_command();
    return serve_files(submit);
  }
  if (strcmp(road, "job-number") == 0) {
    return serve_files(draw_job_number);
  }
  if (strcmp(road, "by-file-new-job") == 0) {
    task.job = NULL;
    return serve_files(submit);
  }
  if (strcmp(road, "by-message") == 0) {
    return serve_messages();
  }
  if (strcmp(road, "connection") == 0) {
    return serve(connect_and_send);
  }
  fprintf(stderr, "usage: client_road ROAD [PORT]\n");
  return 2;
}
