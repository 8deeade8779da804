#include "RequestGate.h"

#include <sys/eventfd.h>

#include "SystemError.h"

namespace velmo::standin {

namespace {

tools::FileDescriptor openEvent() {
  tools::FileDescriptor event(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (!event.isOpen()) {
    throw tools::systemError("cannot wait for requests");
  }
  return event;
}

}  // namespace

RequestGate::RequestGate() : m_closedEvent(openEvent()), m_doneEvent(openEvent()) {}

RequestGate::Pass RequestGate::enter() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_closed) {
    return nullptr;
  }
  ++m_inside;
  return Pass(this);
}

void RequestGate::close() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_closed) {
    return;
  }
  m_closed = true;
  eventfd_write(m_closedEvent.get(), 1);
  if (m_inside == 0) {
    eventfd_write(m_doneEvent.get(), 1);
  }
}

bool RequestGate::isDone() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_closed && m_inside == 0;
}

int RequestGate::closedDescriptor() const {
  return m_closedEvent.get();
}

int RequestGate::doneDescriptor() const {
  return m_doneEvent.get();
}

void RequestGate::leave() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  --m_inside;
  if (m_closed && m_inside == 0) {
    eventfd_write(m_doneEvent.get(), 1);
  }
}

}  // namespace velmo::standin
