#include "ModulesReader.h"

#include <expat.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "GroupedNumber.h"
#include "ServiceChoice.h"
#include "velmo.h"

namespace velmo::client {

namespace {

using brix::velmo::ServiceChoice;

constexpr std::size_t kLargestFile = std::size_t{4} * 1024 * 1024;
constexpr int kMostDepth = 1000;
constexpr int kHighestPort = 65535;
constexpr XML_Char kNamespaceSeparator = '\t';

// --- elements ---

enum Level { kSystem = 1, kMachine, kHost, kModule };

// Of the forms "name", "uri name" and "uri name prefix" that the parser gives. Empty if there is a
// prefix: such an element is not known.
std::string_view qualifiedName(std::string_view name) {
  const std::size_t first = name.find(kNamespaceSeparator);
  if (first == std::string_view::npos) {
    return name;
  }
  name.remove_prefix(first + 1);
  return name.find(kNamespaceSeparator) == std::string_view::npos ? name : std::string_view();
}

// Empty if it is missing.
std::string_view attributeOf(const XML_Char** attributes, std::string_view name) {
  for (; attributes[0] != nullptr; attributes += 2) {
    if (name == attributes[0]) {
      return attributes[1];
    }
  }
  return {};
}

// Keeps everything that the file says, for those who want to see it.
class Collector {
 public:
  using Machines = std::vector<ModulesMachine>;

  void addMachine(std::string_view hostname) {
    m_machines.push_back({std::string(hostname), {}});
  }

  void addHost(std::string_view name, int port) {
    const bool hasPort = port != brix::velmo::kNoPort;
    m_machines.back().hosts.push_back(
        {std::string(name), hasPort ? std::optional(port) : std::nullopt, {}});
  }

  void addModule(std::string_view name) {
    m_machines.back().hosts.back().modules.emplace_back(name);
  }

  // The host that was added last runs velmo.
  void markVelmo() {
    m_lastVelmo = {m_machines.size() - 1, m_machines.back().hosts.size() - 1};
  }

  ModulesContents contents(Result<ServiceAddress> service, bool isUnknown) {
    if (isUnknown) {
      return {{}, {}, std::move(service)};
    }
    return {std::move(m_machines), m_lastVelmo, std::move(service)};
  }

 private:
  Machines m_machines;
  std::optional<std::pair<std::size_t, std::size_t>> m_lastVelmo;
};

// Walks the elements as they begin and end, and offers each host that runs velmo to the choice.
class Walk {
 public:
  // Null: nothing is collected.
  explicit Walk(Collector* collector) : m_collector(collector) {}

  void begin(std::string_view name, const XML_Char** attributes) {
    ++m_depth;
    constexpr std::array<std::string_view, 5> kNames{"", "system", "machine", "host", "module"};
    const bool isChild = m_depth == m_known + 1 && m_depth <= kModule;
    if (isChild && name == kNames[static_cast<std::size_t>(m_depth)]) {
      ++m_known;
      beginKnown(attributes);
    } else if (m_depth == kSystem) {
      giveUp();
    }
  }

  void end() {
    if (m_depth == m_known) {
      if (m_known == kHost && m_runsVelmo) {
        m_choice.add(m_hostname, m_port);
        if (m_collector != nullptr) {
          m_collector->markVelmo();
        }
      }
      --m_known;
    }
    --m_depth;
  }

  // What comes in front of the root makes the file one without machines.
  void beginOther() {
    if (m_depth == 0 && m_known == 0 && !m_hasRoot) {
      giveUp();
    }
  }

  void giveUp() {
    m_isUnknown = true;
  }

  bool isUnknown() const {
    return m_isUnknown;
  }

  bool isTooDeep() const {
    return m_depth > kMostDepth;
  }

  std::optional<ServiceChoice::Host> chosen() const {
    return m_isUnknown ? std::nullopt : m_choice.chosen();
  }

 private:
  void collect(const XML_Char** attributes) {
    if (m_known == kMachine) {
      m_collector->addMachine(m_hostname);
    } else if (m_known == kHost) {
      m_collector->addHost(attributeOf(attributes, "name"), m_port);
    } else if (m_known == kModule) {
      m_collector->addModule(attributeOf(attributes, "name"));
    }
  }

  void beginKnown(const XML_Char** attributes) {
    takeKnown(attributes);
    if (m_collector != nullptr) {
      collect(attributes);
    }
  }

  void takeKnown(const XML_Char** attributes) {
    m_hasRoot = true;
    if (m_known == kMachine) {
      m_hostname = attributeOf(attributes, "hostname");
    } else if (m_known == kHost) {
      m_runsVelmo = false;
      const std::string port(attributeOf(attributes, "websocket-port"));
      m_port = brix::velmo::groupedNumber(port).value_or(brix::velmo::kNoPort);
    } else if (m_known == kModule) {
      m_runsVelmo = m_runsVelmo || attributeOf(attributes, "name") == "velmo";
    }
  }

  int m_depth = 0;  // of open elements
  int m_known = 0;  // how many of them, from the root, are in their places
  bool m_hasRoot = false;
  bool m_isUnknown = false;
  bool m_runsVelmo = false;
  int m_port = brix::velmo::kNoPort;
  std::string m_hostname;
  ServiceChoice m_choice;
  Collector* m_collector;
};

// --- the parser ---

// Later versions of expat count in 64 bits on every machine, and deprecate the other call.
std::uint64_t lineOf(XML_Parser parser) {
#if XML_MAJOR_VERSION > 2 || XML_MINOR_VERSION >= 9
  return XML_GetCurrentLineNumber64(parser);
#else
  return XML_GetCurrentLineNumber(parser);
#endif
}

// One run of the parser, which is written in C: no exception may pass through it.
class ModulesParser {
 public:
  // Null: nothing is collected.
  explicit ModulesParser(Collector* collector)
      : m_parser(XML_ParserCreateNS(nullptr, kNamespaceSeparator)), m_walk(collector) {
    if (m_parser == nullptr) {
      throw std::bad_alloc();
    }
    XML_Parser parser = m_parser.get();
    XML_SetUserData(parser, this);
    XML_SetReturnNSTriplet(parser, 1);
    XML_SetElementHandler(parser, beginElement, endElement);
    XML_SetCommentHandler(parser, comment);
    XML_SetProcessingInstructionHandler(parser, instruction);
    XML_SetStartDoctypeDeclHandler(parser, doctype);
    XML_SetUnknownEncodingHandler(parser, unknownEncoding, nullptr);
  }

  // Nothing if the contents are well-formed. Throws std::bad_alloc.
  Outcome parse(const std::string& contents, const std::string& path) {
    const XML_Status status =
        XML_Parse(m_parser.get(), contents.data(), static_cast<int>(contents.size()), XML_TRUE);
    if (m_end == End::OutOfMemory ||
        (status != XML_STATUS_OK && XML_GetErrorCode(m_parser.get()) == XML_ERROR_NO_MEMORY)) {
      throw std::bad_alloc();
    }
    if (m_end == End::TooDeep || (status != XML_STATUS_OK && m_end != End::Doctype)) {
      return Fault{Problem::ModulesMalformed, path, reason()};
    }
    return std::nullopt;
  }

  Result<ServiceAddress> chosen(const std::string& path) const {
    const std::optional<ServiceChoice::Host> host = m_walk.chosen();
    if (!host) {
      return Fault{Problem::ModulesWithoutService, path};
    }
    if (host->port < 1 || host->port > kHighestPort) {
      return Fault{Problem::ModulesPortUnusable, path, std::to_string(host->port)};
    }
    const auto isUnusable = [](char character) { return character <= ' ' || character > '~'; };
    if (host->hostname.size() >= VELMO_NAME_SIZE ||
        std::any_of(host->hostname.begin(), host->hostname.end(), isUnusable)) {
      return Fault{Problem::ModulesHostUnusable, path, host->hostname};
    }
    return ServiceAddress{host->hostname, host->port};
  }

  bool isUnknown() const {
    return m_walk.isUnknown();
  }

 private:
  enum class End { Natural, Doctype, TooDeep, OutOfMemory };

  struct ParserDeleter {
    void operator()(XML_Parser parser) const {
      XML_ParserFree(parser);
    }
  };

  std::string reason() const {
    const char* text = m_end == End::TooDeep ? "elements are nested too deeply"
                                             : XML_ErrorString(XML_GetErrorCode(m_parser.get()));
    return "line " + std::to_string(lineOf(m_parser.get())) + ", " + text;
  }

  void stop(End end) {
    m_end = end;
    XML_StopParser(m_parser.get(), XML_FALSE);
  }

  // Called no more after stop(), except for the end of an empty element.
  template <typename Work>
  static void guarded(void* data, Work work) noexcept {
    auto* self = static_cast<ModulesParser*>(data);
    if (self->m_end != End::Natural) {
      return;
    }
    try {
      work(*self);
    } catch (...) {  // memory has run out
      self->stop(End::OutOfMemory);
    }
  }

  static void beginElement(void* data, const XML_Char* name, const XML_Char** attributes) {
    guarded(data, [&](ModulesParser& self) {
      self.m_walk.begin(qualifiedName(name), attributes);
      if (self.m_walk.isTooDeep()) {
        self.stop(End::TooDeep);
      }
    });
  }

  static void endElement(void* data, const XML_Char* /*name*/) {
    guarded(data, [](ModulesParser& self) { self.m_walk.end(); });
  }

  static void comment(void* data, const XML_Char* /*text*/) {
    guarded(data, [](ModulesParser& self) { self.m_walk.beginOther(); });
  }

  static void instruction(void* data, const XML_Char* /*target*/, const XML_Char* /*text*/) {
    guarded(data, [](ModulesParser& self) { self.m_walk.beginOther(); });
  }

  // Nothing of it is read: no entity is declared or expanded.
  static void doctype(void* data, const XML_Char* /*name*/, const XML_Char* /*systemId*/,
                      const XML_Char* /*publicId*/, int /*hasInternalSubset*/) {
    guarded(data, [](ModulesParser& self) {
      self.m_walk.giveUp();
      self.stop(End::Doctype);
    });
  }

  // The parser knows UTF-8, UTF-16, ISO-8859-1 and US-ASCII by these names. These are further
  // encodings and names in which the ASCII part is the same. Every other byte becomes one letter,
  // which no usable host name contains.
  static int unknownEncoding(void* /*data*/, const XML_Char* name, XML_Encoding* info) {
    constexpr std::array<const char*, 15> kNames{
        "UTF8",         "Latin1", "Latin-1",      "ISO-8859-2",  "Latin2",
        "Latin-2",      "Latin9", "Latin-9",      "ISO-8859-15", "cp1250",
        "windows-1250", "cp1251", "windows-1251", "cp1252",      "windows-1252"};
    const auto isName = [name](const char* known) { return strcasecmp(name, known) == 0; };
    if (std::none_of(kNames.begin(), kNames.end(), isName)) {
      return XML_STATUS_ERROR;
    }
    constexpr int kLetter = 0xE9;
    for (int byte = 0; byte < 256; ++byte) {
      info->map[byte] = byte < 128 ? byte : kLetter;
    }
    return XML_STATUS_OK;
  }

  std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter> m_parser;
  Walk m_walk;
  End m_end = End::Natural;
};

// --- the file ---

class File {
 public:
  // Opening a pipe that nobody writes to does not wait.
  explicit File(const std::string& path)
      : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)),
        m_error(m_descriptor < 0 ? errno : 0) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  ~File() {
    if (m_descriptor >= 0) {
      close(m_descriptor);
    }
  }

  Result<std::string> read(const std::string& path) {
    struct stat status {};
    if (m_error == 0 && fstat(m_descriptor, &status) != 0) {
      m_error = errno;
    }
    if (m_error != 0) {
      return Fault{Problem::ModulesUnreadable, path, {}, m_error};
    }
    if (!S_ISREG(status.st_mode)) {
      return Fault{Problem::ModulesNotAFile, path};
    }
    return readAll(path, static_cast<std::size_t>(status.st_size));
  }

 private:
  // The file may grow meanwhile.
  Result<std::string> readAll(const std::string& path, std::size_t expected) const {
    std::string contents;
    contents.reserve(std::min(expected, kLargestFile) + 1);
    std::array<char, 16384> buffer;  // NOLINT: not initialised, because it is filled
    while (contents.size() <= kLargestFile) {
      const ssize_t count = ::read(m_descriptor, buffer.data(), buffer.size());
      if (count < 0 && errno != EINTR) {
        return Fault{Problem::ModulesUnreadable, path, {}, errno};
      }
      if (count == 0) {
        return contents;
      }
      contents.append(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return Fault{Problem::ModulesTooLarge, path, "4 MiB"};
  }

  int m_descriptor;
  int m_error;
};

}  // namespace

Result<ServiceAddress> findServiceIn(const std::string& contents, const std::string& path) {
  ModulesParser parser(nullptr);
  if (Outcome failure = parser.parse(contents, path)) {
    return *std::move(failure);
  }
  return parser.chosen(path);
}

Result<ServiceAddress> findService(const std::string& path) {
  Result<std::string> contents = File(path).read(path);
  if (!contents.isOk()) {
    return std::move(contents.fault());
  }
  return findServiceIn(contents.value(), path);
}

Result<ModulesContents> readModulesIn(const std::string& contents, const std::string& path) {
  Collector collector;
  ModulesParser parser(&collector);
  if (Outcome failure = parser.parse(contents, path)) {
    return *std::move(failure);
  }
  return collector.contents(parser.chosen(path), parser.isUnknown());
}

Result<ModulesContents> readModules(const std::string& path) {
  Result<std::string> contents = File(path).read(path);
  if (!contents.isOk()) {
    return std::move(contents.fault());
  }
  return readModulesIn(contents.value(), path);
}

}  // namespace velmo::client
