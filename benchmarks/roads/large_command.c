#include "large_command.h"

#include <string.h>

enum { LARGE = 10 * 1000 * 1000 };

static char command[LARGE + 1];

const char* large_command(void) {
  if (command[0] == '\0') {
    memset(command, 'x', LARGE);
  }
  return command;
}
