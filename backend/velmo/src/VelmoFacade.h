#ifndef VELMO_VELMOFACADE_H
#define VELMO_VELMOFACADE_H

/// @file
/// Submitting tasks by message, to the service that "modules.xml" names.

#include <memory>
#include <string>

#include "Export.h"
#include "VelmoFacadeWS.h"

/// Submits tasks to the service by message, without the caller knowing where the service runs: it
/// looks that up in the installation's "modules.xml" and keeps a VelmoFacadeWS connected there.
///
/// The facade owns its connection, which it never renews: after a network failure, or to look the
/// service up anew, construct another. One facade is used by one thread at a time; its calls take
/// their turns on the one connection. Writes and logs nothing.
class VELMO_EXPORT VelmoFacade {
 public:
  /// Reads the file that SystemConfig::s_szModulesXml names at this moment, and connects to the
  /// service there. The endpoint is the `hostname` of the machine and the `websocket-port` of the
  /// host that run the module "velmo"; of several such hosts it is the last one in the file, even
  /// if that one has no host name or port. The lower 16 bits of the port count: 70000 is 4464.
  ///
  /// Opens no connection before the file has been read. Blocks while it connects, as
  /// VelmoFacadeWS::VelmoFacadeWS() does.
  /// @throws std::logic_error              "basic_string::_M_construct null not valid", when
  ///                                       SystemConfig::s_szModulesXml is null
  /// @throws Poco::XML::SAXParseException  when the file is missing, cannot be read or is not
  ///                                       well-formed; see SystemConfig::SystemConfig()
  /// @throws Poco::PoolOverflowException   when the file has more than 509 different names; see
  ///                                       SystemConfig::SystemConfig()
  /// @throws VelmoException                "Velmo not configured in modules.xml", when no host runs
  ///                                       the module, when the last one has no port (or -1) or
  ///                                       its machine no host name, and when `system` is not the
  ///                                       first node of the file
  /// @throws VelmoException                when the connection fails, in the words of
  ///                                       VelmoFacadeWS::VelmoFacadeWS()
  /// @throws std::bad_alloc                when memory runs out
  VelmoFacade();

  VelmoFacade(const VelmoFacade&) = delete;
  VelmoFacade& operator=(const VelmoFacade&) = delete;

  /// Takes the connection over. The other facade is left without one: it may be destroyed and
  /// assigned to, and nothing else.
  VelmoFacade(VelmoFacade&& other) noexcept;

  /// The same; the connection held until now is closed first, as by the destructor. Does nothing
  /// when the other is this object.
  VelmoFacade& operator=(VelmoFacade&& other) noexcept;

  /// Closes the connection, if the facade has one, and with it ends the use of protocol buffers in
  /// the process; see VelmoFacadeWS::~VelmoFacadeWS(), which may also wait, and may end the
  /// process.
  ~VelmoFacade();

  /// Submits one task: VelmoFacadeWS::addTask() of the connection, with the same arguments. Checks
  /// and changes nothing.
  /// @return the name of the task that the service made
  ///
  /// Throws what VelmoFacadeWS::addTask() throws.
  std::string addTask(const std::string& priorityType, const std::string& command,
                      TaskType taskType, const std::string& deltaType, const std::string& jobId,
                      const std::string& subJobId, const std::string& jobInfo, int relPriority);

 private:
  std::unique_ptr<VelmoFacadeWS> m_client;  // null only in a facade that was moved from
};

#endif
