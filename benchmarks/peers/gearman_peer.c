/* Submits background jobs to gearmand.
   usage: gearman_peer PORT */

#include <libgearman/gearman.h>
#include <stdio.h>
#include <stdlib.h>

#include "resident.h"

static gearman_client_st* client;

static int submit(void) {
  char handle[GEARMAN_JOB_HANDLE_SIZE];
  return gearman_client_do_background(client, "velmo", NULL, "true", 4, handle) != GEARMAN_SUCCESS;
}

int main(int argc, char** argv) {
  const in_port_t port = (in_port_t)(argc > 1 ? atoi(argv[1]) : 0);
  client = gearman_client_create(NULL);
  if (gearman_client_add_server(client, "127.0.0.1", port) != GEARMAN_SUCCESS) {
    fprintf(stderr, "%s\n", gearman_client_error(client));
    return 1;
  }
  const int status = serve(submit);
  gearman_client_free(client);
  return status;
}
