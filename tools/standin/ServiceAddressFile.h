#ifndef VELMO_STANDIN_SERVICEADDRESSFILE_H
#define VELMO_STANDIN_SERVICEADDRESSFILE_H

#include <cstdint>
#include <filesystem>

namespace velmo::standin {

/// The file that tells clients where the service listens: "modules.xml", which here describes this
/// machine alone.
///
/// The destructor removes it, also from a directory that is kept: nobody listens on the port any
/// more, or another program does.
class ServiceAddressFile {
 public:
  /// Writes the file, and replaces an existing one.
  /// @throws std::system_error
  ServiceAddressFile(std::filesystem::path path, std::uint16_t port);

  ServiceAddressFile(const ServiceAddressFile&) = delete;
  ServiceAddressFile& operator=(const ServiceAddressFile&) = delete;
  ~ServiceAddressFile();

 private:
  std::filesystem::path m_path;
};

}  // namespace velmo::standin

#endif
