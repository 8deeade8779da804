/* Puts jobs into beanstalkd, over a plain socket.
   usage: beanstalk_peer PORT */

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include "resident.h"

static int connection;

static int put(void) {
  static const char command[] = "put 500 0 60 4\r\ntrue\r\n";
  char reply[256];
  const ssize_t size = (ssize_t)sizeof command - 1;
  return send(connection, command, (size_t)size, 0) != size ||
         recv(connection, reply, sizeof reply, 0) < 8 || memcmp(reply, "INSERTED", 8) != 0;
}

int main(int argc, char** argv) {
  const int on = 1;
  struct sockaddr_in address;
  memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons((unsigned short)(argc > 1 ? atoi(argv[1]) : 0));
  connection = socket(AF_INET, SOCK_STREAM, 0);
  if (connect(connection, (const struct sockaddr*)&address, sizeof address) != 0) {
    perror("beanstalk_peer");
    return 1;
  }
  setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return serve(put);
}
