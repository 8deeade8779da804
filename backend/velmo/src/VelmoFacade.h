#ifndef VELMO_VELMOFACADE_H
#define VELMO_VELMOFACADE_H

/// @file
/// Submitting tasks by message, to the service that "modules.xml" names.

#include <memory>
#include <string>

#include "Export.h"
#include "VelmoFacadeWS.h"

/// A client of the velmo service of the installation, by message. It finds the service in
/// "modules.xml" and keeps a VelmoFacadeWS connected to it.
///
/// It never reconnects: after a network failure, or to look up the service again, construct another
/// one. One object is used by one thread at a time. It writes and logs nothing. The caveats of
/// VelmoFacadeWS apply.
///
/// @par Examples
/// @code
/// try {
///   VelmoFacade service;
///   std::cout << service.addTask("Normal", "echo hello",
///                                TASK_SHELL_SCRIPT, "", "J12", "0",
///                                "#1USE=me#1JNA=demo", 0);
/// } catch (const VelmoException& failure) {
///   std::cerr << "no service: " << failure.what() << '\n';
/// } catch (const std::exception& failure) {
///   std::cerr << "no modules.xml: " << failure.what() << '\n';
/// }
/// @endcode
class VELMO_EXPORT VelmoFacade {
 public:
  /// Reads the file that SystemConfig::s_szModulesXml names, then connects to the service. The
  /// service is the last host in the file with the module "velmo"; velmo-modules(5) describes the
  /// file.
  /// @throws std::logic_error              "basic_string::_M_construct null not valid":
  ///                                       SystemConfig::s_szModulesXml is null
  /// @throws Poco::XML::SAXParseException  as SystemConfig::SystemConfig()
  /// @throws Poco::PoolOverflowException   as SystemConfig::SystemConfig()
  /// @throws VelmoException                "Velmo not configured in modules.xml": no host runs the
  ///                                       module, the last one has no port (or -1), its machine
  ///                                       has no host name, or the file has no machines. Otherwise
  ///                                       as VelmoFacadeWS::VelmoFacadeWS().
  /// @throws std::bad_alloc                memory runs out
  VelmoFacade();

  VelmoFacade(const VelmoFacade&) = delete;
  VelmoFacade& operator=(const VelmoFacade&) = delete;

  /// Takes over the connection. The other object then has none: only destroy it or assign to it.
  VelmoFacade(VelmoFacade&& other) noexcept;

  /// Closes its own connection, as the destructor does, then takes over the other one. Does nothing
  /// if the other is this object.
  VelmoFacade& operator=(VelmoFacade&& other) noexcept;

  /// Destroys the connection, if there is one: see VelmoFacadeWS::~VelmoFacadeWS().
  ~VelmoFacade();

  /// Submits one task: VelmoFacadeWS::addTask() with the same arguments, results and exceptions.
  std::string addTask(const std::string& priorityType, const std::string& command,
                      TaskType taskType, const std::string& deltaType, const std::string& jobId,
                      const std::string& subJobId, const std::string& jobInfo, int relPriority);

 private:
  std::unique_ptr<VelmoFacadeWS> m_client;  // null only in a facade that was moved from
};

#endif
