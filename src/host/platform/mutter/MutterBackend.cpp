#include "MutterBackend.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QTimer>

#include "DBusSignalRelay.h"
#include "GnomeInputSources.h"
#include "MutterClipboard.h"
#include "platform/common/PostingBackend.h"
#include "platform/xkb/Keysym.h"
#include "platform/xkb/LayoutKeys.h"

namespace quillvane {
namespace {

const QString remoteDesktopService = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString remoteDesktopPath = QStringLiteral("/org/gnome/Mutter/RemoteDesktop");
const QString remoteDesktopInterface = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString sessionInterface = QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session");
const QString displayService = QStringLiteral("org.gnome.Mutter.DisplayConfig");
const QString displayPath = QStringLiteral("/org/gnome/Mutter/DisplayConfig");

// NotifyPointerAxis flags.
constexpr uint axisFinish = 1u << 0;
constexpr uint axisSourceFinger = 1u << 2;
// DisplayConfig's layout mode in which logical monitors are sized in logical pixels.
constexpr uint logicalLayoutMode = 1;

// Each backend has a connection of its own: Mutter ends a session when the connection that
// created it closes, so ours ends with the backend, and never with someone else's. The address is
// read afresh, as the session's environment gives it now.
QDBusConnection sessionBus() {
    static std::atomic<int> count = 0;
    const QString name = QStringLiteral("quillvane-mutter-%1").arg(++count);
    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    return address.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)
                             : QDBusConnection::connectToBus(address, name);
}

// The logical monitors of DisplayConfig.GetCurrentState: each one's position, and its size from
// the current mode of its first monitor, turned and scaled as the layout says.
std::vector<DisplayRect> logicalMonitors(const QDBusMessage& reply) {
    const QList<QVariant> values = reply.arguments();
    if (values.size() < 4)
        return {};
    std::map<QString, std::pair<int, int>> currentModes;
    const auto monitors = values[1].value<QDBusArgument>();
    monitors.beginArray();
    while (!monitors.atEnd()) {
        monitors.beginStructure();
        QString connector, vendor, product, serial;
        monitors.beginStructure();
        monitors >> connector >> vendor >> product >> serial;
        monitors.endStructure();
        monitors.beginArray();
        while (!monitors.atEnd()) {
            QString id;
            int width = 0, height = 0;
            double refresh = 0, preferredScale = 0;
            QList<double> scales;
            QVariantMap properties;
            monitors.beginStructure();
            monitors >> id >> width >> height >> refresh >> preferredScale >> scales >> properties;
            monitors.endStructure();
            if (properties.value(QStringLiteral("is-current")).toBool())
                currentModes[connector] = {width, height};
        }
        monitors.endArray();
        QVariantMap properties;
        monitors >> properties;
        monitors.endStructure();
    }
    monitors.endArray();

    QVariantMap properties;
    values[3].value<QDBusArgument>() >> properties;
    const bool logical =
        properties.value(QStringLiteral("layout-mode"), logicalLayoutMode).toUInt() ==
        logicalLayoutMode;

    std::vector<DisplayRect> rects;
    const auto logicalList = values[2].value<QDBusArgument>();
    logicalList.beginArray();
    while (!logicalList.atEnd()) {
        int x = 0, y = 0;
        double scale = 1;
        uint transform = 0;
        bool primary = false;
        logicalList.beginStructure();
        logicalList >> x >> y >> scale >> transform >> primary;
        std::optional<std::pair<int, int>> size;
        logicalList.beginArray();
        while (!logicalList.atEnd()) {
            QString connector, vendor, product, serial;
            logicalList.beginStructure();
            logicalList >> connector >> vendor >> product >> serial;
            logicalList.endStructure();
            const auto mode = currentModes.find(connector);
            if (!size && mode != currentModes.end())
                size = mode->second;
        }
        logicalList.endArray();
        QVariantMap monitorProperties;
        logicalList >> monitorProperties;
        logicalList.endStructure();
        if (!size)
            continue;
        // Transforms 1, 3, 5 and 7 turn the monitor a quarter.
        double width = (transform % 2) ? size->second : size->first;
        double height = (transform % 2) ? size->first : size->second;
        if (logical && scale > 0) {
            width /= scale;
            height /= scale;
        }
        const DisplayRect rect{double(x), double(y), width, height};
        if (primary)
            rects.insert(rects.begin(), rect);
        else
            rects.push_back(rect);
    }
    logicalList.endArray();
    return rects;
}

class MutterBackend final : public PostingBackend {
public:
    MutterBackend();
    ~MutterBackend() override;

    MutterBackend(const MutterBackend&) = delete;
    MutterBackend& operator=(const MutterBackend&) = delete;

    std::string_view name() const override { return "mutter"; }
    std::vector<DisplayRect> displays() override;

private:
    bool open();
    void close();
    void end(const std::string& reason);
    QDBusMessage call(const QString& method, const QVariantList& arguments = {});
    // Input notifications are sent without waiting for a reply; they arrive in order.
    void notify(const QString& method, const QVariantList& arguments);

    void postMotion(TrackpadVector delta) override;
    void postButton(std::uint32_t code, bool down) override;
    void postKey(std::uint32_t code, bool down) override;
    void postScroll(const ScrollEvent& event) override;
    void send() override { m_layoutRead = false; }
    const LayoutKeys* layout() override;
    bool canType(char32_t codePoint) override;
    void type(char32_t codePoint) override;

    QDBusConnection m_bus;
    QString m_session;
    std::unique_ptr<DBusSignalRelay> m_closed;
    std::unique_ptr<DBusSignalRelay> m_monitorsChanged;
    std::unique_ptr<QDBusServiceWatcher> m_serviceWatcher;
    std::optional<std::vector<DisplayRect>> m_displays;
    std::optional<LayoutKeys> m_layout;
    LayoutKeys::Names m_layoutNames;
    // The layout is read again for the first character after a flush.
    bool m_layoutRead = false;
    std::unique_ptr<MutterClipboard> m_clipboard;
    bool m_scrolling = false;
};

MutterBackend::MutterBackend()
    : PostingBackend(), m_bus(sessionBus()) {
    open();
}

MutterBackend::~MutterBackend() {
    if (canPost()) {
        letGo();
        if (m_scrolling)
            notify(QStringLiteral("NotifyPointerAxis"), {0.0, 0.0, axisSourceFinger | axisFinish});
        // Mutter has taken the releases once it answers.
        m_bus.call(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                  QStringLiteral("/org/freedesktop/DBus"),
                                                  QStringLiteral("org.freedesktop.DBus.Peer"),
                                                  QStringLiteral("Ping")),
                   QDBus::Block, 1000);
    }
    close();
    QDBusConnection::disconnectFromBus(m_bus.name());
}

bool MutterBackend::open() {
    if (!m_bus.isConnected()) {
        lose("没有 D-Bus 会话总线，无法连接 GNOME 的远程桌面接口");
        return false;
    }
    if (!m_serviceWatcher) {
        // Mutter restarting (GNOME Shell restarted or crashed) takes its name off the bus and puts
        // it back; the session is made again when it returns.
        m_serviceWatcher = std::make_unique<QDBusServiceWatcher>(
            remoteDesktopService, m_bus,
            QDBusServiceWatcher::WatchForRegistration | QDBusServiceWatcher::WatchForUnregistration);
        QObject::connect(m_serviceWatcher.get(), &QDBusServiceWatcher::serviceUnregistered,
                         m_serviceWatcher.get(), [this] {
                             if (!m_session.isEmpty())
                                 end("GNOME 的远程桌面服务离开了会话总线");
                         });
        QObject::connect(m_serviceWatcher.get(), &QDBusServiceWatcher::serviceRegistered,
                         m_serviceWatcher.get(), [this] {
                             if (m_session.isEmpty())
                                 open();
                         });
    }
    if (!m_bus.interface()->isServiceRegistered(remoteDesktopService)) {
        lose("会话总线上没有 GNOME 的远程桌面接口，这不是 GNOME 的 Wayland 会话");
        return false;
    }
    const QDBusMessage created = QDBusMessage::createMethodCall(
        remoteDesktopService, remoteDesktopPath, remoteDesktopInterface,
        QStringLiteral("CreateSession"));
    const QDBusMessage reply = m_bus.call(created, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        lose("GNOME 拒绝创建远程桌面会话（" + reply.errorMessage().toStdString() + "）");
        return false;
    }
    m_session = reply.arguments().first().value<QDBusObjectPath>().path();
    const QDBusMessage started = call(QStringLiteral("Start"));
    if (started.type() != QDBusMessage::ReplyMessage) {
        const std::string why = started.errorMessage().toStdString();
        m_session.clear();
        lose("GNOME 拒绝启动远程桌面会话（" + why + "）");
        return false;
    }
    // Mutter makes a session's virtual keyboard and pointer at their first event, and a seat
    // that had none gains them then: a program binds its keyboard only once the seat has one, so
    // the first text would reach nobody. Both are made now, by events that post nothing: the
    // press of evdev code 0, which is no key, and a motion by nothing.
    notify(QStringLiteral("NotifyKeyboardKeycode"), {0u, true});
    notify(QStringLiteral("NotifyPointerMotionRelative"), {0.0, 0.0});
    // Deferred: the relay must not be deleted from inside its own slot.
    m_closed = std::make_unique<DBusSignalRelay>([this] {
        QTimer::singleShot(0, m_serviceWatcher.get(),
                           [this] { end("GNOME 关闭了远程桌面会话"); });
    });
    m_bus.connect(remoteDesktopService, m_session, sessionInterface, QStringLiteral("Closed"),
                  m_closed.get(), SLOT(relay()));
    m_monitorsChanged = std::make_unique<DBusSignalRelay>([this] { m_displays.reset(); });
    m_bus.connect(displayService, displayPath, displayService, QStringLiteral("MonitorsChanged"),
                  m_monitorsChanged.get(), SLOT(relay()));
    m_clipboard = std::make_unique<MutterClipboard>(m_bus, m_session);
    m_displays.reset();
    m_scrolling = false;
    setAvailable(m_clipboard.get());
    return true;
}

void MutterBackend::close() {
    m_clipboard.reset();
    m_closed.reset();
    m_monitorsChanged.reset();
    if (!m_session.isEmpty())
        call(QStringLiteral("Stop"));
    m_session.clear();
}

// The session ended, and whatever it held with it. The clipboard goes once the paste route that
// uses it has, from the event loop.
void MutterBackend::end(const std::string& reason) {
    if (m_session.isEmpty())
        return;
    m_session.clear();
    lose("经 GNOME 发送输入已停止，正在等它恢复（" + reason + "）");
    QTimer::singleShot(0, m_serviceWatcher.get(), [this] {
        m_clipboard.reset();
        m_closed.reset();
        m_monitorsChanged.reset();
        // The service may still be there (only the session ended): ask for a new one.
        if (m_session.isEmpty() && m_bus.interface()->isServiceRegistered(remoteDesktopService))
            open();
    });
}

QDBusMessage MutterBackend::call(const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(remoteDesktopService, m_session,
                                                          sessionInterface, method);
    message.setArguments(arguments);
    return m_bus.call(message, QDBus::Block, 5000);
}

void MutterBackend::notify(const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(remoteDesktopService, m_session,
                                                          sessionInterface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    m_bus.send(message);
}

std::vector<DisplayRect> MutterBackend::displays() {
    if (!canPost())
        return {};
    if (!m_displays) {
        const QDBusMessage request = QDBusMessage::createMethodCall(
            displayService, displayPath, displayService, QStringLiteral("GetCurrentState"));
        const QDBusMessage reply = m_bus.call(request, QDBus::Block, 2000);
        if (reply.type() != QDBusMessage::ReplyMessage)
            return {};
        m_displays = logicalMonitors(reply);
    }
    return *m_displays;
}

void MutterBackend::postMotion(TrackpadVector delta) {
    notify(QStringLiteral("NotifyPointerMotionRelative"), {delta.x, delta.y});
}

void MutterBackend::postButton(std::uint32_t code, bool down) {
    notify(QStringLiteral("NotifyPointerButton"), {int(code), down});
}

void MutterBackend::postKey(std::uint32_t code, bool down) {
    notify(QStringLiteral("NotifyKeyboardKeycode"), {uint(code), down});
}

// Smooth scrolling from fingers, the gesture's end flagged so that clients may coast on by
// themselves. A positive wheel 1 moves the view towards the top of the page, which is a negative
// vertical amount here (and likewise wheel 2 leftwards); the phone signs its amounts for natural
// scrolling, so the content follows the fingers.
void MutterBackend::postScroll(const ScrollEvent& event) {
    const bool ends = event.phase == ScrollEvent::Phase::ended ||
                      event.phase == ScrollEvent::Phase::cancelled ||
                      event.momentum == ScrollEvent::Momentum::ended;
    if (event.wheel1 == 0 && event.wheel2 == 0 && !(ends && m_scrolling))
        return;
    notify(QStringLiteral("NotifyPointerAxis"),
           {double(-event.wheel2), double(-event.wheel1),
            axisSourceFinger | (ends ? axisFinish : 0u)});
    m_scrolling = !ends;
}

// Mutter turns a keysym into the key and level of its own layout that type it, and drops keysyms
// its layout lacks: a character is typed as its keysym where the user's layout has it, and pasted
// otherwise. Mutter holds Shift or AltGr for a keysym's level, never both: a character that needs
// both would come out as its key's first level.
bool MutterBackend::canType(char32_t codePoint) {
    const auto keysym = keysymFor(codePoint);
    if (!keysym)
        return false;
    if (*keysym == XKB_KEY_Return || *keysym == XKB_KEY_Tab || *keysym == XKB_KEY_BackSpace ||
        *keysym == XKB_KEY_Escape || *keysym == XKB_KEY_Delete)
        return true;
    const LayoutKeys* keys = layout();
    const auto stroke = keys ? keys->strokeFor(codePoint) : std::nullopt;
    return stroke && stroke->modifiers.size() < 2;
}

void MutterBackend::type(char32_t codePoint) {
    if (const auto keysym = keysymFor(codePoint)) {
        notify(QStringLiteral("NotifyKeyboardKeysym"), {uint(*keysym), true});
        notify(QStringLiteral("NotifyKeyboardKeysym"), {uint(*keysym), false});
    }
}

// Mutter types with the layout of the user's input source in use, which may change between two
// texts; without GNOME's settings it keeps the system's layout.
const LayoutKeys* MutterBackend::layout() {
    if (!m_layoutRead) {
        m_layoutRead = true;
        LayoutKeys::Names names = LayoutKeys::systemDefaultNames();
        if (const auto sources = GnomeInputSources::read())
            names = sources->layoutOver(std::move(names));
        if (!m_layout || names != m_layoutNames) {
            m_layout = LayoutKeys::fromNames(names);
            m_layoutNames = std::move(names);
        }
    }
    return m_layout ? &*m_layout : nullptr;
}

} // namespace

std::unique_ptr<InputBackend> makeMutterBackend() {
    return std::make_unique<MutterBackend>();
}

} // namespace quillvane
