#include "DBusSignalRelay.h"

#include <utility>

namespace quillvane {

DBusSignalRelay::DBusSignalRelay(std::function<void()> handler) : m_handler(std::move(handler)) {}

void DBusSignalRelay::relay() {
    m_handler();
}

} // namespace quillvane
