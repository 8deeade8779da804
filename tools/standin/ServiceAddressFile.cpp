#include "ServiceAddressFile.h"

#include <fmt/format.h>

#include <string>
#include <system_error>
#include <utility>

#include "PrivateFile.h"

namespace velmo::standin {

namespace {

// The root element comes first: readers treat a file that begins with anything else as empty.
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

ServiceAddressFile::ServiceAddressFile(std::filesystem::path path, std::uint16_t port)
    : m_path(std::move(path)) {
  std::filesystem::remove(m_path);
  tools::createPrivateFile(m_path, modulesText(port));
}

ServiceAddressFile::~ServiceAddressFile() {
  std::error_code ignored;  // the file may already be gone
  std::filesystem::remove(m_path, ignored);
}

}  // namespace velmo::standin
