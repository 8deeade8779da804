// A thread that is cancelled before a call of velmo.h: the call comes to its end first.

#include <gtest/gtest.h>
#include <pthread.h>
#include <velmo/velmo.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "InstallationAndPeerTest.h"

namespace {

struct NamedCall {
  std::string name;
  std::function<void()> call;
};

class CancelledThreadCallsTest : public velmo::test::InstallationAndPeerTest {};

// Runs a call in a thread that was cancelled before; returns whether the call came to its end.
bool endsThoughCancelled(const std::function<void()>& call) {
  struct Work {
    const std::function<void()>* call;
    bool isDone = false;
  } work{&call};
  const auto run = [](void* given) -> void* {
    pthread_cancel(pthread_self());
    auto* const mine = static_cast<Work*>(given);
    (*mine->call)();
    mine->isDone = true;
    pthread_testcancel();
    ADD_FAILURE() << "the cancellation was lost";
    return nullptr;
  };
  pthread_t thread{};
  EXPECT_EQ(0, pthread_create(&thread, nullptr, run, &work));
  void* result = nullptr;
  pthread_join(thread, &result);
  EXPECT_EQ(PTHREAD_CANCELED, result);
  return work.isDone;
}

TEST_F(CancelledThreadCallsTest, NoCallIsACancellationPoint) {
  const std::string jobs = place.directory.path("jobs");
  velmo_installation* other = nullptr;
  velmo_listing* listing = nullptr;
  velmo_status status = -1;
  const std::vector<NamedCall> alone{
      {"open", [&] { status = velmo_open(nullptr, &other, nullptr); }},
      {"close", [&] { velmo_close(other), status = VELMO_OK; }},
      {"submit", [&] { status = submit(task, VELMO_DURABLE); }},
      {"new job", [&] { status = velmo_new_job(handle, 0, 0, nullptr, nullptr); }},
      {"find job", [&] { status = findJob(jobs.c_str()); }},
      {"check", [&] { status = velmo_check(handle, nullptr, nullptr, nullptr) * 0; }},
      {"list", [&] { status = velmo_list(handle, &listing, nullptr); }},
      {"connect", [&] { status = velmo_connect(&endpoint, 5000, &connection, nullptr); }},
      {"send", [&] { status = velmo_send(connection, &task, 5000, nullptr, nullptr); }},
      {"send again", [&] { status = velmo_send(connection, &task, 5000, nullptr, nullptr); }},
      {"disconnect",
       [&] {
         velmo_disconnect(std::exchange(connection, nullptr), 5000);
         status = VELMO_OK;
       }},
  };
  for (const NamedCall& one : alone) {
    status = -1;
    EXPECT_TRUE(endsThoughCancelled(one.call)) << one.name;
    EXPECT_EQ(VELMO_OK, status) << one.name;
  }
  velmo_listing_free(listing);
}

}  // namespace
