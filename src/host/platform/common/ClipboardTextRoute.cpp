#include "ClipboardTextRoute.h"

#include <utility>

#include <QLoggingCategory>

namespace quillvane {
namespace {
Q_LOGGING_CATEGORY(lcInput, "app.quillvane.Input", QtInfoMsg)

// How often a paste not yet read is looked at again.
constexpr int pollMs = 20;
} // namespace

ClipboardTextRoute::ClipboardTextRoute(PasteClipboard& clipboard, Event pressPaste, Event pasteLost)
    : m_clipboard(clipboard), m_pressPaste(std::move(pressPaste)), m_pasteLost(std::move(pasteLost)) {
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleMs);
    QObject::connect(&m_settle, &QTimer::timeout, &m_settle, [this] {
        if (awaitingDelivery())
            m_settle.start(pollMs);
        else
            drain();
    });
    m_restore.setSingleShot(true);
    m_restore.setInterval(restoreMs);
    QObject::connect(&m_restore, &QTimer::timeout, &m_restore, [this] {
        // Not while a paste waits to be read or the next one to start.
        if (awaitingDelivery() || m_settle.isActive())
            m_restore.start(pollMs);
        else
            m_clipboard.restore();
    });
}

ClipboardTextRoute::~ClipboardTextRoute() {
    for (const Pending& pending : m_pending)
        if (pending.event)
            pending.event();
    if (m_restore.isActive() || m_settle.isActive())
        m_clipboard.restore();
}

bool ClipboardTextRoute::awaitingDelivery() const {
    return !m_clipboard.delivered() && m_sincePaste.isValid() &&
           m_sincePaste.elapsed() < deliveryLimitMs;
}

void ClipboardTextRoute::paste(std::string_view character) {
    // Gathered into the last paste while it has not started.
    if (!m_pending.empty() && !m_pending.back().event)
        m_pending.back().text += character;
    else
        m_pending.push_back({std::string(character), {}});
}

void ClipboardTextRoute::post(Event event) {
    if (m_pending.empty() && !m_settle.isActive()) {
        event();
        return;
    }
    m_pending.push_back({{}, std::move(event)});
    flush();
}

void ClipboardTextRoute::flush() {
    if (!m_settle.isActive())
        drain();
}

void ClipboardTextRoute::discardPendingText() {
    std::erase_if(m_pending, [](const Pending& pending) { return !pending.event; });
}

void ClipboardTextRoute::drain() {
    while (!m_pending.empty()) {
        const Pending pending = std::move(m_pending.front());
        m_pending.pop_front();
        postNow(pending);
        if (!pending.event) {
            m_settle.start(settleMs);
            return;
        }
    }
}

void ClipboardTextRoute::postNow(const Pending& pending) {
    if (pending.event) {
        pending.event();
        return;
    }
    m_restore.stop();
    m_sincePaste.start();
    m_clipboard.offer(pending.text, [this](bool offered) {
        if (offered) {
            m_pressPaste();
            return;
        }
        qCWarning(lcInput, "The clipboard could not be set; a pasted text is lost");
        m_pasteLost();
    });
    m_restore.start(restoreMs);
}

} // namespace quillvane
