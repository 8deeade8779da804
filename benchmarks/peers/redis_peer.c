/* Appends to a list in redis.
   usage: redis_peer PORT */

#include <hiredis/hiredis.h>
#include <stdio.h>
#include <stdlib.h>

#include "resident.h"

static redisContext* context;

static int push(void) {
  redisReply* reply = redisCommand(context, "RPUSH queue %s", "true");
  const int failed = reply == NULL || reply->type != REDIS_REPLY_INTEGER;
  freeReplyObject(reply);
  return failed;
}

int main(int argc, char** argv) {
  context = redisConnect("127.0.0.1", argc > 1 ? atoi(argv[1]) : 0);
  if (context == NULL || context->err != 0) {
    fprintf(stderr, "redis_peer: no connection\n");
    return 1;
  }
  const int status = serve(push);
  redisFree(context);
  return status;
}
