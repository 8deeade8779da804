/* A program in C that loads the library by hand, submits a task, and closes the library, twice. The
 * library can be unloaded.
 * usage: load_from_c LIBRARY */

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>
#include <velmo/velmo.h>

typedef velmo_status Open(const velmo_settings*, velmo_installation**, velmo_error*);
typedef velmo_status Submit(const velmo_installation*, const velmo_task*, int, unsigned, char*,
                            velmo_error*);
typedef void Close(velmo_installation*);

/* `function` points to a pointer to a function, which C does not convert from one to data. */
static int find(void* library, const char* name, void* function) {
  void* const symbol = dlsym(library, name);
  memcpy(function, &symbol, sizeof symbol);
  return symbol != NULL;
}

static int submit(void* library) {
  velmo_installation* installation = NULL;
  velmo_task task;
  velmo_error error;
  char name[VELMO_NAME_SIZE];
  Open* openInstallation;
  Submit* submitTask;
  Close* closeInstallation;

  if (!find(library, "velmo_open", &openInstallation) ||
      !find(library, "velmo_submit", &submitTask) ||
      !find(library, "velmo_close", &closeInstallation)) {
    return 0;
  }
  memset(&task, 0, sizeof task);
  task.size = sizeof task;
  task.priority_class = "Normal";
  task.command = "echo from C";
  if (openInstallation(NULL, &installation, &error) != VELMO_OK ||
      submitTask(installation, &task, 5000, 0, name, &error) != VELMO_OK) {
    printf("%s\n", error.message);
    return 0;
  }
  printf("queued %s\n", name);
  closeInstallation(installation);
  return 1;
}

int main(int argc, char** argv) {
  int round;
  for (round = 0; argc == 2 && round < 2; ++round) {
    void* reloaded;
    void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
      fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    if (!submit(library)) {
      return 1;
    }
    printf("closed %d, ", dlclose(library));
    reloaded = dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD);
    printf("%s\n", reloaded == NULL ? "unloaded" : "still loaded");
    if (reloaded != NULL) {
      dlclose(reloaded);
    }
  }
  return 0;
}
