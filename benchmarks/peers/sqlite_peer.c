/* Inserts rows into a table of SQLite, each in its own transaction.
   usage: sqlite_peer FILE JOURNAL_MODE SYNCHRONOUS */

#include <sqlite3.h>
#include <stdio.h>

#include "resident.h"

static sqlite3* database;
static sqlite3_stmt* statement;

static int insert(void) {
  sqlite3_bind_text(statement, 1, "true", -1, SQLITE_STATIC);
  const int stepped = sqlite3_step(statement);
  return sqlite3_reset(statement) != SQLITE_OK || stepped != SQLITE_DONE;
}

static int prepare(const char* file, const char* journal, const char* synchronous) {
  char settings[256];
  snprintf(settings, sizeof settings,
           "PRAGMA journal_mode=%s; PRAGMA synchronous=%s;"
           "CREATE TABLE IF NOT EXISTS queue(id INTEGER PRIMARY KEY, command TEXT)",
           journal, synchronous);
  return sqlite3_open(file, &database) == SQLITE_OK &&
         sqlite3_exec(database, settings, NULL, NULL, NULL) == SQLITE_OK &&
         sqlite3_prepare_v2(database, "INSERT INTO queue(command) VALUES(?)", -1, &statement,
                            NULL) == SQLITE_OK;
}

int main(int argc, char** argv) {
  if (argc < 4 || !prepare(argv[1], argv[2], argv[3])) {
    fprintf(stderr, "sqlite_peer: %s\n", database != NULL ? sqlite3_errmsg(database) : "usage");
    return 1;
  }
  const int status = serve(insert);
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return status;
}
