/* A program in C that loads the library by hand and submits a task and a child of it, then closes
 * the library and loads it again. The library's headers are for C++, so the types of its three
 * functions are written here.
 * usage: dlopen_from_c LIBRARY SUB_JOB */

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef int CreateTaskFile(const char* priorityType, const char* command, const char* commandType,
                           const char* deltaType, const char* jobId, const char* subJobId,
                           const char* jobInfo, int relPriority);
typedef int CreateChildTask(const char* priorityType, const char* command, const char* commandType,
                            const char* deltaType, const char* jobId, const char* subJobId,
                            const char* childSuffix, const char* jobInfo, int relPriority);
typedef char* GenerateJobID(void);
typedef void DeleteArray(void* array);

/* An exception that left the library would end this process: it cannot be caught here. */
static int conditionsAreMet(const char* subJob) {
  return getenv("VELMO_HOME") != NULL && getenv("CONF") != NULL && strchr(subJob, '_') != NULL;
}

/* `function` points to a pointer to a function, which C does not convert from one to data. */
static void find(void* library, const char* name, void* function) {
  void* const symbol = dlsym(library, name);
  if (symbol == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    exit(1);
  }
  memcpy(function, &symbol, sizeof symbol);
}

static void* load(const char* path) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    exit(1);
  }
  return library;
}

int main(int argc, char** argv) {
  CreateTaskFile* createTaskFile;
  CreateChildTask* createChildTask;
  GenerateJobID* generateJobID;
  DeleteArray* deleteArray;
  const char* subJob;
  void* library;
  char* job;

  if (argc != 3 || !conditionsAreMet(argv[2])) {
    fprintf(stderr, "the conditions are not met\n");
    return 2;
  }
  subJob = argv[2];
  library = load(argv[1]);
  find(library, "createTaskFile", &createTaskFile);
  find(library, "createChildTask", &createChildTask);
  find(library, "generateJobID", &generateJobID);
  /* operator delete[](void*) of the C++ library that the library has loaded. */
  find(library, "_ZdaPv", &deleteArray);

  job = generateJobID();
  printf("job %s\n", job);
  printf("task %d\n", createTaskFile("Normal", "echo task", "sh", NULL, job, subJob, "#1USE=c", 0));
  printf("child %d\n",
         createChildTask("Urgent", "echo child", NULL, "Later", job, subJob, "first", NULL, 3));
  deleteArray(job);
  printf("closed %d\n", dlclose(library));

  library = load(argv[1]);
  find(library, "generateJobID", &generateJobID);
  job = generateJobID();
  printf("loaded again, job %s\n", job);
  deleteArray(job);
  return dlclose(library);
}
