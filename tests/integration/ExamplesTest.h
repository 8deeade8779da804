#ifndef VELMO_TEST_EXAMPLESTEST_H
#define VELMO_TEST_EXAMPLESTEST_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ClientProcess.h"
#include "ScriptedPeer.h"
#include "TemporaryDirectory.h"

namespace velmo::test {

/// Runs the examples as processes, in a temporary directory and with exactly the given environment.
class ExamplesTest : public testing::Test {
 protected:
  using Variables = std::map<std::string, std::string>;
  using Arguments = std::vector<const char*>;

  /// How the program ends. Its standard output is among the errors.
  ClientOutcome run(const std::string& program, const Variables& variables,
                    const Arguments& arguments = {}) const {
    return runAgainst({}, [&](unsigned short /*port*/, const Tell& /*tell*/) {
      become(program, variables, arguments);
    });
  }

  /// Runs the program with this modules.xml against peers that follow these scripts; returns its
  /// output and its end. PORT in the file becomes the port of the peer. In the result, DIR stands
  /// for the directory and PORT for the port.
  std::string outcomeWith(const std::string& program, const std::string& modules,
                          const std::vector<PeerScript>& scripts, const Arguments& arguments = {}) {
    const ClientOutcome outcome = runAgainst(scripts, [&](unsigned short number, const Tell& tell) {
      tell(std::to_string(number));
      directory.writeFile("modules.xml", replaced(modules, "PORT", std::to_string(number)));
      become(program, {{"VELMO_MODULES_XML", modulesFile}}, arguments);
    });
    EXPECT_EQ("", outcome.peer);
    const std::string port = outcome.report.substr(0, outcome.report.find(';'));
    const std::string text = replaced(outcome.errors, directory.path().string(), "DIR");
    return replaced(text, ":" + port, ":PORT") + outcome.end;
  }

  static std::string systemAt(const std::string& port) {
    return "<system><machine hostname='127.0.0.1'><host websocket-port='" + port +
           "'><module name='velmo'/></host></machine></system>";
  }

  const TemporaryDirectory directory;
  const std::string modulesFile = directory.path("modules.xml");

 private:
  // In the child.
  [[noreturn]] void become(const std::string& program, const Variables& variables,
                           Arguments arguments) const {
    clearenv();
    // An example leaks a client with a broken connection on purpose.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    for (const auto& [name, value] : variables) {
      setenv(name.c_str(), value.c_str(), 1);
    }
    dup2(STDERR_FILENO, STDOUT_FILENO);
    arguments.insert(arguments.begin(), program.c_str());
    arguments.push_back(nullptr);
    if (chdir(directory.path().c_str()) == 0) {
      execv(program.c_str(), const_cast<char* const*>(arguments.data()));
    }
    _exit(99);
  }

  static std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
      text.replace(at, what.size(), by);
    }
    return text;
  }
};

}  // namespace velmo::test

#endif
