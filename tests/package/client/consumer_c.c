/* A program in C that calls every function of the installed velmo.h, in an empty environment and
 * without a service. It prints the outcome of each. */

#include <stdio.h>
#include <string.h>
#include <velmo/velmo.h>

static void show(const char* call, velmo_status status) {
  printf("%s: %s\n", call, velmo_status_text(status));
}

static void count(void* user, const velmo_error* finding) {
  *(int*)user += finding->message[0] != '\0';
}

static void useTheQueue(const velmo_installation* installation, const velmo_task* task) {
  velmo_listing* listing = NULL;
  velmo_job job;
  char text[VELMO_NAME_SIZE];
  velmo_error error;
  int findings = 0;

  memset(&job, 0, sizeof job);
  memset(&error, 0, sizeof error);
  show("submit", velmo_submit(installation, task, 0, VELMO_DURABLE, text, &error));
  printf("  %s, %d\n", error.message, error.cause);
  show("new job", velmo_new_job(installation, 0, 0, text, NULL));
  show("find job", velmo_find_job(installation, "/nowhere", "key", 0, 0, &job, NULL));
  show("list", velmo_list(installation, &listing, NULL));
  printf("  %d names, %s\n", (int)velmo_listing_count(listing),
         velmo_listing_name(listing, 0) == NULL ? "none first" : "one first");
  velmo_listing_free(listing);
  show("cancel",
       velmo_cancel(installation, "0050.20250303140509.J1.S0.T20250303140509-1.R0000.sh", NULL));
  velmo_check(installation, task, count, &findings);
  printf("check: %s\n", findings > 3 ? "findings" : "few findings");
  printf("queue: %s\n", velmo_queue_directory(installation) == NULL ? "not set" : "set");
}

static void useAService(const velmo_task* task) {
  velmo_connection* connection = NULL;
  velmo_endpoint endpoint;
  char text[VELMO_NAME_SIZE];
  int port;

  memset(&endpoint, 0, sizeof endpoint);
  endpoint.size = sizeof endpoint;
  endpoint.host = "127.0.0.1";
  endpoint.port = 1;
  show("find service", velmo_find_service("/nowhere/modules.xml", text, &port, NULL));
  show("connect", velmo_connect(&endpoint, VELMO_NO_LIMIT, &connection, NULL));
  show("send", velmo_send(connection, task, 0, text, NULL));
  printf("usable: %d\n", velmo_is_usable(connection));
  velmo_disconnect(connection, 0);
}

static void useNames(void) {
  velmo_task_name parts;
  char subJob[VELMO_NAME_SIZE];

  show("child", velmo_child_sub_job("3_x", "y", subJob, NULL));
  printf("  %s\n", subJob);
  show("parse",
       velmo_parse_name("0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh", &parts));
  printf("  %d %s %s %s %d %d %s\n", parts.priority, parts.created, parts.job, parts.sub_job,
         parts.task, parts.relative_priority, parts.type);
}

int main(void) {
  velmo_settings settings;
  velmo_task task;
  velmo_installation* installation = NULL;

  printf("version %s, header %d.%d.%d\n", velmo_version(), VELMO_VERSION_MAJOR, VELMO_VERSION_MINOR,
         VELMO_VERSION_PATCH);
  memset(&settings, 0, sizeof settings);
  settings.size = sizeof settings;
  memset(&task, 0, sizeof task);
  task.size = sizeof task;
  task.priority_class = "Normal";
  task.command = "true";

  show("settings", velmo_settings_from_environment(&settings));
  show("open", velmo_open(&settings, &installation, NULL));
  useTheQueue(installation, &task);
  velmo_close(installation);
  useAService(&task);
  useNames();
  return 0;
}
