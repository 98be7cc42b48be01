#pragma once

#include <functional>

#include <QObject>

namespace quillvane {

// Calls a function when a D-Bus signal arrives, for code that is not a QObject: QtDBus delivers
// signals to slots only. Connect the signal to SLOT(relay()).
class DBusSignalRelay final : public QObject {
    Q_OBJECT

public:
    explicit DBusSignalRelay(std::function<void()> handler);

public Q_SLOTS:
    void relay();

private:
    std::function<void()> m_handler;
};

} // namespace quillvane
