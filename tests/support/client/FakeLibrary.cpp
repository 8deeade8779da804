#include "FakeLibrary.h"

#include <cstdio>

namespace velmo::test {

namespace {

// A call that does nothing and returns 0, null or VELMO_OK.
template <typename Result, typename... Arguments>
void doNothing(std::function<Result(Arguments...)>& function) {
  function = [](Arguments... /*arguments*/) { return Result{}; };
}

}  // namespace

FakeLibrary::FakeLibrary() {
  doNothing(settingsFromEnvironment);
  doNothing(submit);
  doNothing(newJob);
  doNothing(findJob);
  doNothing(childSubJob);
  doNothing(check);
  doNothing(parseName);
  doNothing(cancel);
  doNothing(queueDirectory);
  doNothing(findService);
  doNothing(send);
  doNothing(isUsable);
  open = [](const velmo_settings* /*settings*/, velmo_installation** out, velmo_error*) {
    ++fakeLibrary().installations;
    *out = new velmo_installation;
    return VELMO_OK;
  };
  connect = [](const velmo_endpoint*, int /*timeout*/, velmo_connection** out, velmo_error*) {
    ++fakeLibrary().connections;
    *out = new velmo_connection;
    return VELMO_OK;
  };
  list = [](const velmo_installation*, velmo_listing** out, velmo_error*) {
    ++fakeLibrary().listings;
    *out = new velmo_listing{{"one", "two"}};
    return VELMO_OK;
  };
}

FakeLibrary& fakeLibrary() {
  static FakeLibrary library;
  return library;
}

velmo_status failing(velmo_status status, velmo_error* error) {
  *error = velmo_error{status, status, 0, 0, {}, {}};
  std::snprintf(error->message, sizeof error->message, "status %d", status);
  return status;
}

}  // namespace velmo::test

using velmo::test::fakeLibrary;

velmo_status velmo_settings_from_environment(velmo_settings* out) {
  return fakeLibrary().settingsFromEnvironment(out);
}

velmo_status velmo_open(const velmo_settings* settings, velmo_installation** out,
                        velmo_error* error) {
  return fakeLibrary().open(settings, out, error);
}

void velmo_close(velmo_installation* installation) {
  --fakeLibrary().installations;
  delete installation;
}

velmo_status velmo_submit(const velmo_installation* installation, const velmo_task* task,
                          int timeout_ms, unsigned flags, char* name, velmo_error* error) {
  return fakeLibrary().submit(installation, task, timeout_ms, flags, name, error);
}

velmo_status velmo_new_job(const velmo_installation* installation, int timeout_ms, unsigned flags,
                           char* job, velmo_error* error) {
  return fakeLibrary().newJob(installation, timeout_ms, flags, job, error);
}

velmo_status velmo_find_job(const velmo_installation* installation, const char* directory,
                            const char* key, int timeout_ms, unsigned flags, velmo_job* in_out,
                            velmo_error* error) {
  return fakeLibrary().findJob(installation, directory, key, timeout_ms, flags, in_out, error);
}

velmo_status velmo_child_sub_job(const char* parent, const char* suffix, char* sub_job,
                                 velmo_error* error) {
  return fakeLibrary().childSubJob(parent, suffix, sub_job, error);
}

velmo_status velmo_check(const velmo_installation* installation, const velmo_task* task,
                         velmo_finding_fn* finding, void* user) {
  return fakeLibrary().check(installation, task, finding, user);
}

velmo_status velmo_list(const velmo_installation* installation, velmo_listing** out,
                        velmo_error* error) {
  return fakeLibrary().list(installation, out, error);
}

size_t velmo_listing_count(const velmo_listing* listing) {
  return listing != nullptr ? listing->names.size() : 0;
}

const char* velmo_listing_name(const velmo_listing* listing, size_t index) {
  return listing != nullptr ? listing->names.at(index).c_str() : nullptr;
}

void velmo_listing_free(velmo_listing* listing) {
  --fakeLibrary().listings;
  delete listing;
}

velmo_status velmo_parse_name(const char* name, velmo_task_name* out) {
  return fakeLibrary().parseName(name, out);
}

velmo_status velmo_cancel(const velmo_installation* installation, const char* name,
                          velmo_error* error) {
  return fakeLibrary().cancel(installation, name, error);
}

const char* velmo_queue_directory(const velmo_installation* installation) {
  return fakeLibrary().queueDirectory(installation);
}

velmo_status velmo_find_service(const char* modules_xml, char* host, int* port,
                                velmo_error* error) {
  return fakeLibrary().findService(modules_xml, host, port, error);
}

velmo_status velmo_connect(const velmo_endpoint* endpoint, int timeout_ms, velmo_connection** out,
                           velmo_error* error) {
  return fakeLibrary().connect(endpoint, timeout_ms, out, error);
}

velmo_status velmo_send(velmo_connection* connection, const velmo_task* task, int timeout_ms,
                        char* name, velmo_error* error) {
  return fakeLibrary().send(connection, task, timeout_ms, name, error);
}

int velmo_is_usable(const velmo_connection* connection) {
  return fakeLibrary().isUsable(connection);
}

void velmo_disconnect(velmo_connection* connection, int timeout_ms) {
  velmo::test::FakeLibrary& library = fakeLibrary();
  --library.connections;
  library.disconnects.push_back(timeout_ms);
  delete connection;
}

const char* velmo_status_text(velmo_status status) {
  return status == VELMO_OUT_OF_MEMORY ? "out of memory" : "some status";
}

const char* velmo_version(void) {
  return "7.8.9";
}
