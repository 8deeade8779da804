#include "FakeResolver.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

namespace velmo::test {

namespace {

FakeResolver* g_resolver = nullptr;

}  // namespace

FakeResolver::FakeResolver(const std::vector<std::string>& addresses) : m_addresses(addresses) {
  g_resolver = this;
}

FakeResolver::~FakeResolver() {
  g_resolver = nullptr;
}

const std::vector<std::string>& FakeResolver::addressesOf(const std::string& name) {
  m_names.push_back(name);
  return m_addresses;
}

using Lookup = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

static Lookup realLookup() {
  static const auto real = reinterpret_cast<Lookup>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return real;
}

static int lookUpInFake(const char* host, addrinfo** found) {
  addrinfo numeric{};
  numeric.ai_flags = AI_NUMERICHOST;
  numeric.ai_socktype = SOCK_STREAM;
  const std::vector<std::string>& addresses = g_resolver->addressesOf(host);
  for (const std::string& address : addresses) {
    EXPECT_EQ(0, realLookup()(address.c_str(), nullptr, &numeric, found)) << address;
    found = &(*found)->ai_next;
  }
  return addresses.empty() ? EAI_NONAME : 0;
}

}  // namespace velmo::test

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                           addrinfo** found) {
  if (velmo::test::g_resolver == nullptr) {
    return velmo::test::realLookup()(host, service, hints, found);
  }
  return velmo::test::lookUpInFake(host, found);
}
