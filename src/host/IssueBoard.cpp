#include "IssueBoard.h"

namespace quillvane {

void IssueBoard::show(const QString& issue) {
    m_issue = issue;
    Q_EMIT changed();
}

void IssueBoard::raise(Cause cause, const QString& issue) {
    m_causes[cause] = issue;
    show(issue);
}

void IssueBoard::settle(Cause cause) {
    const auto found = m_causes.find(cause);
    if (found == m_causes.end())
        return;
    const bool shown = m_issue == found->second;
    m_causes.erase(found);
    if (shown) {
        m_issue.reset();
        Q_EMIT changed();
    }
}

} // namespace quillvane
