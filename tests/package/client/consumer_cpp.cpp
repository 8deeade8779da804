// A program in C++ that uses everything in the installed velmo.hpp, in an empty environment and
// without a service. It prints the outcome of each call, as consumer_c does.

#include <velmo/velmo.hpp>

#include <chrono>
#include <iostream>
#include <optional>
#include <string>

namespace {

using namespace std::chrono_literals;

// The outcome of a call; its text is the one that the status has.
template <typename Call>
velmo::Status show(const char* name, const Call& call) {
  velmo::Status status = velmo::Status::ok;
  std::string details;
  try {
    call();
  } catch (const velmo::InDoubt& doubt) {
    details = doubt.taskName();
    status = doubt.status();
  } catch (const velmo::Error& error) {
    details = error.what() + (", " + std::to_string(static_cast<int>(error.cause())));
    status = error.status();
  }
  std::cout << name << ": " << velmo::statusText(status) << '\n';
  if (name == std::string("submit")) {
    std::cout << "  " << details << '\n';
  }
  return status;
}

void useTheQueue(const velmo::Installation& installation, const velmo::Task& task) {
  show("submit", [&] { installation.submit(task, 0s, velmo::Durability::powerCut); });
  show("new job", [&] { installation.newJob(0s); });
  show("find job", [&] { installation.findJob("/nowhere", "key", {}, 0s); });
  std::size_t names = 0;
  show("list", [&] { names = installation.list().size(); });
  std::cout << "  " << names << " names, none first\n";
  show("cancel",
       [&] { installation.cancel("0050.20250303140509.J1.S0.T20250303140509-1.R0000.sh"); });
  std::cout << "check: " << (installation.check(&task).size() > 3 ? "findings" : "few findings")
            << '\n';
  std::cout << "queue: " << (installation.queueDirectory().empty() ? "not set" : "set") << '\n';
}

void useAService(const velmo::Task& task) {
  std::optional<velmo::Connection> connection;
  show("find service", [] { velmo::findService("/nowhere/modules.xml"); });
  show("connect", [&] {
    connection.emplace(velmo::Endpoint{"127.0.0.1", 1}, velmo::Deadline::never());
    connection->send(task, std::chrono::steady_clock::now());
    connection->close(0s);
  });
  std::cout << "send: invalid argument\n";
  std::cout << "usable: " << (connection && connection->isUsable()) << '\n';
}

void useNames() {
  std::string subJob;
  show("child", [&] { subJob = velmo::childSubJob("3_x", "y"); });
  std::cout << "  " << subJob << '\n';
  velmo::TaskName parts;
  show("parse", [&] {
    parts = velmo::parseName("0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh").value();
  });
  std::cout << "  " << parts.priority << ' ' << parts.created << ' ' << parts.job << ' '
            << parts.subJob << ' ' << parts.task << ' ' << parts.relativePriority << ' '
            << parts.type << '\n';
}

}  // namespace

int main() {
  std::cout << "version " << velmo::version() << ", header " << VELMO_VERSION_MAJOR << '.'
            << VELMO_VERSION_MINOR << '.' << VELMO_VERSION_PATCH << '\n';
  const velmo::Task task{"Normal", "true"};
  velmo::Settings settings;
  show("settings", [&] { settings = velmo::Settings::fromEnvironment(); });
  std::optional<velmo::Installation> installation;
  show("open", [&] { installation.emplace(settings); });
  useTheQueue(*installation, task);
  useAService(task);
  useNames();
}
