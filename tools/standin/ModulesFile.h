#ifndef VELMO_STANDIN_MODULESFILE_H
#define VELMO_STANDIN_MODULESFILE_H

#include <cstdint>
#include <filesystem>

namespace standin {

/// The file that tells clients where the service listens: the installation's description of its
/// machines, here of this one alone.
///
/// It goes with the object, whoever's the directory is, because the port does so too: a file that
/// stayed would lead clients to nobody, or to somebody else.
class ModulesFile {
 public:
  /// Writes it, in place of what is there.
  /// @throws std::system_error
  ModulesFile(std::filesystem::path path, std::uint16_t port);

  ModulesFile(const ModulesFile&) = delete;
  ModulesFile& operator=(const ModulesFile&) = delete;
  ~ModulesFile();

 private:
  std::filesystem::path m_path;
};

}  // namespace standin

#endif
