#ifndef VELMO_SYSTEMCONFIG_H
#define VELMO_SYSTEMCONFIG_H

/// @file
/// What "modules.xml" says.

#include <string>
#include <vector>

#include "Export.h"

/// The kinds of module that the reader knows, and the number of each. Any other name in the file
/// counts as no module.
enum ModuleType : int {
  Velmo = 0,    ///< "velmo"
  Fennick = 1,  ///< "fennick"
  Hollard = 2   ///< "hollard"
};

/// One host, which is a service process of a machine: a plain value. References that it returns
/// live as long as it does, unchanged by anything but an assignment to it.
class VELMO_EXPORT HostConfig {
 public:
  /// Takes the values as they are; checks nothing.
  /// @param name           name of the host; may be empty
  /// @param webSocketPort  any number; -1: none
  /// @param modules        modules that the host runs; may be empty, and hold one several times
  /// @throws std::bad_alloc  when memory runs out
  HostConfig(const std::string& name, int webSocketPort, std::vector<ModuleType> modules);

  /// The name, empty when the file has none. It is not the name by which the network knows the
  /// machine; see MachineConfig::getHostname().
  const std::string& getName() const;

  /// The port on which the host takes WebSocket connections, or -1 when the file has none, no
  /// number, or -1 itself. Any other int is possible: the range of ports is not checked.
  int getWebSocketPort() const;

  /// The modules in document order, each as often as the file lists it.
  const std::vector<ModuleType>& getModules() const;

 private:
  std::string m_name;
  int m_webSocketPort;
  std::vector<ModuleType> m_modules;
};

/// One machine: a plain value. References that it returns live as long as it does, unchanged by
/// anything but an assignment to it.
class VELMO_EXPORT MachineConfig {
 public:
  /// Takes the values as they are; checks nothing. Mind the order of the two texts.
  /// @param id               identifier of the machine; may be empty
  /// @param hostname         name by which the network knows the machine; may be empty
  /// @param rmiRegistryPort  any number; -1: none
  /// @param hosts            hosts of the machine; may be empty
  /// @throws std::bad_alloc  when memory runs out
  MachineConfig(const std::string& id, const std::string& hostname, int rmiRegistryPort,
                std::vector<HostConfig> hosts);

  /// The identifier, empty when the file has none.
  const std::string& getId() const;

  /// The name by which the network knows the machine, empty when the file has none.
  const std::string& getHostname() const;

  /// The port of the machine's RMI registry, or -1, as HostConfig::getWebSocketPort().
  int getRmiRegistryPort() const;

  /// The hosts in document order, those without modules included.
  const std::vector<HostConfig>& getHosts() const;

 private:
  std::string m_id;
  std::string m_hostname;
  int m_rmiRegistryPort;
  std::vector<HostConfig> m_hosts;
};

/// What "modules.xml" says: which machines the installation has, which hosts each machine carries,
/// and which modules each host runs.
///
///     <system>
///       <machine id="m1" hostname="m1.example.com" rmi-port="1099">
///         <host name="backend" websocket-port="8080">
///           <module name="velmo"/>
///         </host>
///       </machine>
///     </system>
///
/// Each element counts only as a direct child of the one above it and under exactly this name, a
/// namespace prefix making it another; the same goes for attributes. Anything else in the file is
/// ignored, unknown modules included. Texts are kept as the parser gives them, blanks at their ends
/// included.
///
/// `system` has to be the very first node: with a comment, a processing instruction or a document
/// type declaration in front of it, or under another name, there are no machines, and that is no
/// error. The XML declaration is no node.
///
/// A port is a decimal int, in which commas count for nothing ("8,080" is 8080) and white space or
/// a sign may stand in front; anything else, a missing attribute or a number beyond an int is -1. A
/// sign or commas without a digit are 0.
///
/// The file is read in the constructor, and never again. A copy is independent. Objects may be made
/// on several threads at a time.
class VELMO_EXPORT SystemConfig {
 public:
  /// Reads the file. Other files that it names are not fetched; one that uses the text of such a
  /// file counts as not well-formed.
  ///
  /// The file is parsed while it is read: the constructor throws at the first fault and reads no
  /// further. If the path is a pipe, the call blocks until a fault has arrived or the last writer
  /// has closed the pipe.
  ///
  /// Holds all nodes of the file in memory meanwhile. Elements may be nested to any depth. Entities
  /// that are defined by one another the parser follows on the stack: on a stack of 8 MB a chain of
  /// 20,000 is read, and one of 40,000 ends the process.
  ///
  /// The time for one tag or comment grows with the square of its length: the parser scans it anew
  /// with every block of 4 KB. A tag of 5 MB took 5 s, one of 10 MB 17 s, one of 20 MB 65 s. Texts
  /// between tags are not affected.
  /// @param path  path of the file; empty: no such file
  /// @throws Poco::XML::SAXParseException  when the file is missing, cannot be read, is empty, a
  ///                                       directory or not well-formed: what the parser throws,
  ///                                       unchanged. It is a Poco::Exception and a std::exception;
  ///                                       what() tells its name alone, displayText() the reason.
  /// @throws Poco::PoolOverflowException   when the elements and attributes of the file have more
  ///                                       than 509 different names, the parser's limit. A name
  ///                                       under another prefix, or in another namespace, is
  ///                                       another name. A Poco::Exception too.
  /// @throws std::bad_alloc                when memory runs out, in the parser too, which may then
  ///                                       lose some memory of its own
  SystemConfig(const std::string& path);

  /// The machines in document order. The reference lives as long as the object.
  const std::vector<MachineConfig>& getMachines() const;

  /// Where the file lies: at first "/home/dorvan/var/conf/modules.xml". A SystemConfig is given its
  /// path and does not look here; a VelmoFacade reads it whenever one is constructed. A program may
  /// set it to a text of its own, which it keeps as long as it is set, before it starts threads
  /// that use it.
  static const char* s_szModulesXml;

 private:
  std::vector<MachineConfig> m_machines;
};

#endif
