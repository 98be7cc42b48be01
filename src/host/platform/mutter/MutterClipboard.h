#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include "platform/common/PasteClipboard.h"

namespace quillvane {

// The clipboard of a Mutter remote desktop session: the session offers a selection in the types
// it names and serves each read the compositor passes on to it. The user's own content is read in
// every type it was offered in before the first offer, and offered again by restore(), so pasting
// leaves the clipboard as it was.
class MutterClipboard final : public QObject, public PasteClipboard {
    Q_OBJECT

public:
    // Content larger than this, or types beyond the first few, are not kept: restoring the text
    // of an ordinary copy matters; a copied video does not fit the purpose.
    static constexpr std::size_t maximumKeptBytes = 16 * 1024 * 1024;
    static constexpr int maximumKeptTypes = 16;
    // How long the program owning the clipboard gets to hand its content over, once per paste
    // burst. A busy desktop's program can take some hundred milliseconds, and giving up loses
    // the user's copy for good.
    static constexpr int readTimeoutMs = 1000;

    // `session` is the object path of a started session created on `bus`.
    MutterClipboard(QDBusConnection bus, QString session);

    bool offer(const std::string& text) override;
    void restore() override;
    // Mutter passes each read on to us, so we know when the paste was read. Mutter itself reads
    // every new selection once, as it is set, to keep a copy for when its owner goes away: that
    // read, always the first, does not count, or the user's clipboard could be put back before the
    // program pasting had read ours, and pasted in its place.
    bool delivered() const override { return m_delivered; }

private Q_SLOTS:
    void ownerChanged(const QVariantMap& options);
    void transfer(const QString& mimeType, uint serial);

private:
    // One content in several types, as the session serves it.
    using Content = std::map<QString, QByteArray>;

    QDBusMessage call(const QString& method, const QVariantList& arguments);
    void setSelection(Content content);
    std::optional<QByteArray> read(const QString& mimeType);

    QDBusConnection m_bus;
    QString m_session;
    // The types the user's current selection is offered in, when it is not ours.
    QStringList m_userTypes;
    bool m_selectionIsOurs = false;
    Content m_served;
    bool m_delivered = true;
    bool m_ownCopyPending = false;
    // The user's content, taken at the first offer and given back by restore(); and what the last
    // restore() gave back.
    std::optional<Content> m_kept;
    Content m_restored;
};

} // namespace quillvane
