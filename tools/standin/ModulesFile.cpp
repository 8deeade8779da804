#include "ModulesFile.h"

#include <fmt/format.h>

#include <string>
#include <system_error>
#include <utility>

#include "Installation.h"

namespace standin {

namespace {

// The root element comes first: readers take a file that begins with anything else for empty.
std::string modulesText(std::uint16_t port) {
  return fmt::format(
      "<system>\n"
      "  <machine id=\"standin\" hostname=\"127.0.0.1\">\n"
      "    <host name=\"standin\" websocket-port=\"{}\">\n"
      "      <module name=\"velmo\"/>\n"
      "    </host>\n"
      "  </machine>\n"
      "</system>\n",
      port);
}

}  // namespace

ModulesFile::ModulesFile(std::filesystem::path path, std::uint16_t port) : m_path(std::move(path)) {
  std::filesystem::remove(m_path);
  makePrivateFile(m_path, modulesText(port));
}

ModulesFile::~ModulesFile() {
  std::error_code gone;  // then somebody else has removed it
  std::filesystem::remove(m_path, gone);
}

}  // namespace standin
