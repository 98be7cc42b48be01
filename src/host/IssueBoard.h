#pragma once

#include <QObject>
#include <QString>

#include <map>
#include <optional>

namespace quillvane {

// The one problem the host shows the user: the last one raised. Most stay until another takes
// their place; those with a cause end by themselves (the input backend that cannot post, the
// keyring, the advertisement) and are cleared when their cause settles, unless a later problem
// has taken their place meanwhile.
class IssueBoard : public QObject {
    Q_OBJECT

public:
    enum class Cause { input, keychain, advertisement };

    const std::optional<QString>& issue() const { return m_issue; }

    void show(const QString& issue);
    void raise(Cause cause, const QString& issue);
    void settle(Cause cause);

Q_SIGNALS:
    void changed();

private:
    std::optional<QString> m_issue;
    std::map<Cause, QString> m_causes; // the problems that last, while they last
};

} // namespace quillvane
