#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include "platform/common/KeptClipboard.h"

namespace quillvane {

// The clipboard of a Mutter remote desktop session: the session offers a selection in the types
// it names and serves each read the compositor passes on to it, through a pipe Mutter hands over.
class MutterClipboard final : public QObject, public KeptClipboard {
    Q_OBJECT

public:
    // `session` is the object path of a started session created on `bus`.
    MutterClipboard(QDBusConnection bus, QString session);

private Q_SLOTS:
    void ownerChanged(const QVariantMap& options);
    void transfer(const QString& mimeType, uint serial);

private:
    std::vector<std::string> userTypes() const override;
    int receive(const std::string& type) override;
    bool select(const std::vector<std::string>& types) override;
    void settle(std::function<void()> then) override;

    QDBusMessage call(const QString& method, const QVariantList& arguments);

    QDBusConnection m_bus;
    QString m_session;
    // The types the user's current selection is offered in, when it is not ours.
    QStringList m_userTypes;
    // Mutter reads every new selection once, as it is set, to keep a copy for when its owner
    // goes away: that read, always the first, is no paste.
    bool m_ownCopyPending = false;
    // SetSelection has just returned and the owner changes Mutter announced before handling it
    // are still to be delivered: a copy the user made before our selection, not after it.
    bool m_replacedOwnersQueued = false;
};

} // namespace quillvane
