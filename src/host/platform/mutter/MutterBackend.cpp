#include "MutterBackend.h"

#include <atomic>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <set>
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
#include "platform/common/ClipboardTextRoute.h"
#include "platform/common/ShadowPointer.h"
#include "platform/evdev/MacKeyTable.h"
#include "platform/xkb/Keysym.h"
#include "platform/xkb/LayoutKeys.h"
#include "protocol/Unicode.h"

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

class MutterBackend final : public InputBackend {
public:
    MutterBackend();
    ~MutterBackend() override;

    MutterBackend(const MutterBackend&) = delete;
    MutterBackend& operator=(const MutterBackend&) = delete;

    std::string_view name() const override { return "mutter"; }
    bool canPost() const override { return m_reason.empty(); }
    std::string unavailableReason() const override { return m_reason; }

    std::vector<DisplayRect> displays() override;
    std::optional<TrackpadVector> pointerLocation() override;

    void mouse(const MouseEvent& event) override;
    void scroll(const ScrollEvent& event) override;
    void key(std::uint16_t macKeyCode, bool down) override;
    void text(std::string_view character) override;
    void flush() override;
    void discardPendingText() override;

private:
    bool open();
    void close();
    void lose(const std::string& reason);
    QDBusMessage call(const QString& method, const QVariantList& arguments = {});
    // Input notifications are sent without waiting for a reply; they arrive in order.
    void notify(const QString& method, const QVariantList& arguments);
    void post(std::function<void()> event);
    void followLayout();
    void typePendingText();

    void moveTo(TrackpadVector target);
    void button(int code, bool down);
    void press(std::uint32_t evdevKey, bool down);
    void releaseHeld();

    QDBusConnection m_bus;
    QString m_session;
    std::string m_reason;
    std::unique_ptr<DBusSignalRelay> m_closed;
    std::unique_ptr<DBusSignalRelay> m_monitorsChanged;
    std::unique_ptr<QDBusServiceWatcher> m_serviceWatcher;
    std::optional<std::vector<DisplayRect>> m_displays;
    ShadowPointer m_shadow;
    std::optional<LayoutKeys> m_layout;
    LayoutKeys::Names m_layoutNames;
    std::unique_ptr<MutterClipboard> m_clipboard;
    std::unique_ptr<ClipboardTextRoute> m_route;
    std::set<int> m_buttons;
    std::set<std::uint32_t> m_keys;
    bool m_scrolling = false;
    // Text given since the last flush, with its keysyms, and whether a character of it is not
    // in the layout.
    std::string m_text;
    std::vector<xkb_keysym_t> m_keysyms;
    bool m_textNeedsPaste = false;
};

MutterBackend::MutterBackend()
    : m_bus(sessionBus()) {
    open();
}

MutterBackend::~MutterBackend() {
    if (canPost()) {
        m_route.reset(); // events still waiting behind a paste are posted first
        releaseHeld();
    }
    close();
    QDBusConnection::disconnectFromBus(m_bus.name());
}

bool MutterBackend::open() {
    if (!m_bus.isConnected()) {
        m_reason = "没有 D-Bus 会话总线，无法连接 GNOME 的远程桌面接口";
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
                                 lose("GNOME 的远程桌面服务离开了会话总线");
                         });
        QObject::connect(m_serviceWatcher.get(), &QDBusServiceWatcher::serviceRegistered,
                         m_serviceWatcher.get(), [this] {
                             if (m_session.isEmpty())
                                 open();
                         });
    }
    if (!m_bus.interface()->isServiceRegistered(remoteDesktopService)) {
        m_reason = "会话总线上没有 GNOME 的远程桌面接口，这不是 GNOME 的 Wayland 会话";
        return false;
    }
    const QDBusMessage created = QDBusMessage::createMethodCall(
        remoteDesktopService, remoteDesktopPath, remoteDesktopInterface,
        QStringLiteral("CreateSession"));
    const QDBusMessage reply = m_bus.call(created, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        m_reason = "GNOME 拒绝创建远程桌面会话（" + reply.errorMessage().toStdString() + "）";
        return false;
    }
    m_session = reply.arguments().first().value<QDBusObjectPath>().path();
    const QDBusMessage started = call(QStringLiteral("Start"));
    if (started.type() != QDBusMessage::ReplyMessage) {
        const std::string why = started.errorMessage().toStdString();
        m_session.clear();
        m_reason = "GNOME 拒绝启动远程桌面会话（" + why + "）";
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
                           [this] { lose("GNOME 关闭了远程桌面会话"); });
    });
    m_bus.connect(remoteDesktopService, m_session, sessionInterface, QStringLiteral("Closed"),
                  m_closed.get(), SLOT(relay()));
    m_monitorsChanged = std::make_unique<DBusSignalRelay>([this] { m_displays.reset(); });
    m_bus.connect(displayService, displayPath, displayService, QStringLiteral("MonitorsChanged"),
                  m_monitorsChanged.get(), SLOT(relay()));
    m_clipboard = std::make_unique<MutterClipboard>(m_bus, m_session);
    m_route = std::make_unique<ClipboardTextRoute>(*m_clipboard, [this] {
        press(KEY_LEFTCTRL, true);
        press(KEY_V, true);
        press(KEY_V, false);
        press(KEY_LEFTCTRL, false);
    });
    m_displays.reset();
    m_shadow.forget();
    m_reason.clear();
    notifyRestored();
    return true;
}

void MutterBackend::close() {
    m_route.reset();
    m_clipboard.reset();
    m_closed.reset();
    m_monitorsChanged.reset();
    if (!m_session.isEmpty())
        call(QStringLiteral("Stop"));
    m_session.clear();
    m_buttons.clear();
    m_keys.clear();
    m_scrolling = false;
}

void MutterBackend::lose(const std::string& reason) {
    if (m_session.isEmpty())
        return;
    m_route.reset();
    m_clipboard.reset();
    m_closed.reset();
    m_monitorsChanged.reset();
    m_session.clear();
    m_buttons.clear();
    m_keys.clear();
    m_scrolling = false;
    m_reason = "经 GNOME 发送输入已停止，正在等它恢复（" + reason + "）";
    notifyLost();
    // The service may still be there (only the session ended): ask for a new one.
    QTimer::singleShot(0, m_serviceWatcher.get(), [this] {
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

void MutterBackend::post(std::function<void()> event) {
    // Text given before this event goes first.
    if (!m_text.empty())
        typePendingText();
    if (m_route)
        m_route->post(std::move(event));
    else
        event();
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
        m_shadow.setDisplays(*m_displays);
    }
    return *m_displays;
}

std::optional<TrackpadVector> MutterBackend::pointerLocation() {
    if (!canPost())
        return std::nullopt;
    return m_shadow.position();
}

void MutterBackend::moveTo(TrackpadVector target) {
    displays();
    if (!m_shadow.position()) {
        const TrackpadVector home = m_shadow.home();
        notify(QStringLiteral("NotifyPointerMotionRelative"), {home.x, home.y});
    }
    const TrackpadVector delta = m_shadow.moveTo(target);
    if (delta.x != 0 || delta.y != 0)
        notify(QStringLiteral("NotifyPointerMotionRelative"), {delta.x, delta.y});
}

void MutterBackend::button(int code, bool down) {
    if (down == m_buttons.contains(code))
        return;
    notify(QStringLiteral("NotifyPointerButton"), {code, down});
    if (down)
        m_buttons.insert(code);
    else
        m_buttons.erase(code);
}

void MutterBackend::press(std::uint32_t evdevKey, bool down) {
    if (down == m_keys.contains(evdevKey))
        return;
    notify(QStringLiteral("NotifyKeyboardKeycode"), {uint(evdevKey), down});
    if (down)
        m_keys.insert(evdevKey);
    else
        m_keys.erase(evdevKey);
}

void MutterBackend::mouse(const MouseEvent& event) {
    if (!canPost() || !std::isfinite(event.position.x) || !std::isfinite(event.position.y))
        return;
    post([this, event] {
        moveTo(event.position);
        switch (event.type) {
        case MouseEventType::leftDown:
        case MouseEventType::leftUp:
            button(BTN_LEFT, event.type == MouseEventType::leftDown);
            break;
        case MouseEventType::rightDown:
        case MouseEventType::rightUp:
            button(BTN_RIGHT, event.type == MouseEventType::rightDown);
            break;
        case MouseEventType::moved:
        case MouseEventType::leftDragged:
            break;
        }
    });
}

// Smooth scrolling from fingers, the gesture's end flagged so that clients may coast on by
// themselves. A positive wheel 1 moves the view towards the top of the page, which is a negative
// vertical amount here (and likewise wheel 2 leftwards); the phone signs its amounts for natural
// scrolling, so the content follows the fingers.
void MutterBackend::scroll(const ScrollEvent& event) {
    if (!canPost())
        return;
    const bool ends = event.phase == ScrollEvent::Phase::ended ||
                      event.phase == ScrollEvent::Phase::cancelled ||
                      event.momentum == ScrollEvent::Momentum::ended;
    post([this, event, ends] {
        if (event.wheel1 == 0 && event.wheel2 == 0 && !(ends && m_scrolling))
            return;
        notify(QStringLiteral("NotifyPointerAxis"),
               {double(-event.wheel2), double(-event.wheel1),
                axisSourceFinger | (ends ? axisFinish : 0u)});
        m_scrolling = !ends;
    });
}

void MutterBackend::key(std::uint16_t macKeyCode, bool down) {
    if (!canPost())
        return;
    if (const auto evdev = evdevKeyForMacKey(macKeyCode))
        post([this, key = *evdev, down] { press(key, down); });
}

// Mutter turns a keysym into the key and level of its layout that type it, and drops keysyms its
// layout lacks; those characters must be pasted. A text is typed as keysyms when its layout has
// every character, and pasted whole otherwise: one paste, one wait for the program to read it,
// and no keysym of the text racing ahead of a paste.
void MutterBackend::text(std::string_view character) {
    if (!canPost() || !isValidUtf8(character))
        return;
    if (m_text.empty())
        followLayout();
    m_text += character;
    for (std::size_t offset = 0; offset < character.size();) {
        const char32_t codePoint = nextCodePoint(character, offset);
        if (codePoint == U'\n' && !m_keysyms.empty() && m_keysyms.back() == XKB_KEY_Return)
            continue; // CR LF is one line break
        const auto keysym = keysymFor(codePoint);
        if (!keysym)
            continue; // a control character without a key
        // Mutter holds Shift or AltGr for a keysym's level, never both: a character that needs
        // both would come out as its key's first level.
        const auto stroke = m_layout ? m_layout->strokeFor(codePoint) : std::nullopt;
        const bool hasKey = *keysym == XKB_KEY_Return || *keysym == XKB_KEY_Tab ||
                            *keysym == XKB_KEY_BackSpace || *keysym == XKB_KEY_Escape ||
                            *keysym == XKB_KEY_Delete || (stroke && stroke->modifiers.size() < 2);
        m_textNeedsPaste = m_textNeedsPaste || !hasKey;
        m_keysyms.push_back(*keysym);
    }
}

// Mutter types with the layout of the user's input source in use, which may change between two
// texts; without GNOME's settings it keeps the system's layout.
void MutterBackend::followLayout() {
    LayoutKeys::Names names = LayoutKeys::systemDefaultNames();
    if (const auto sources = GnomeInputSources::read())
        names = sources->layoutOver(std::move(names));
    if (m_layout && names == m_layoutNames)
        return;
    m_layout = LayoutKeys::fromNames(names);
    m_layoutNames = std::move(names);
}

void MutterBackend::typePendingText() {
    if (m_text.empty())
        return;
    const std::string text = std::exchange(m_text, {});
    std::vector<xkb_keysym_t> keysyms = std::exchange(m_keysyms, {});
    const bool needsPaste = std::exchange(m_textNeedsPaste, false);
    if (needsPaste && m_route) {
        m_route->paste(text);
        return;
    }
    post([this, keysyms = std::move(keysyms)] {
        for (const xkb_keysym_t keysym : keysyms) {
            notify(QStringLiteral("NotifyKeyboardKeysym"), {uint(keysym), true});
            notify(QStringLiteral("NotifyKeyboardKeysym"), {uint(keysym), false});
        }
    });
}

void MutterBackend::flush() {
    typePendingText();
    if (m_route)
        m_route->flush();
}

void MutterBackend::discardPendingText() {
    m_text.clear();
    m_keysyms.clear();
    m_textNeedsPaste = false;
    if (m_route)
        m_route->discardPendingText();
}

void MutterBackend::releaseHeld() {
    for (const int code : std::set<int>(m_buttons))
        button(code, false);
    for (const std::uint32_t key : std::set<std::uint32_t>(m_keys))
        press(key, false);
    if (m_scrolling) {
        notify(QStringLiteral("NotifyPointerAxis"), {0.0, 0.0, axisSourceFinger | axisFinish});
        m_scrolling = false;
    }
    m_bus.call(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                              QStringLiteral("/org/freedesktop/DBus"),
                                              QStringLiteral("org.freedesktop.DBus.Peer"),
                                              QStringLiteral("Ping")),
               QDBus::Block, 1000);
}

} // namespace

std::unique_ptr<InputBackend> makeMutterBackend() {
    return std::make_unique<MutterBackend>();
}

} // namespace quillvane
