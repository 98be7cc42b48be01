#include "KeptClipboard.h"

#include <utility>

#include <unistd.h>

#include "PipeReader.h"
#include "PipeWriter.h"

namespace quillvane {

const std::vector<std::string>& KeptClipboard::textTypes() {
    static const std::vector<std::string> types{"text/plain;charset=utf-8", "text/plain",
                                                "UTF8_STRING", "STRING", "TEXT"};
    return types;
}

KeptClipboard::KeptClipboard() = default;

KeptClipboard::~KeptClipboard() = default;

void KeptClipboard::offer(const std::string& text, Offered offered) {
    if (m_reader)
        delete std::exchange(m_reader, nullptr);
    m_offer = PendingOffer{text, std::move(offered), {}, {}, 0};
    settle([this, turn = ++m_turn] {
        if (turn == m_turn)
            keep();
    });
}

// What the user has on the clipboard is kept first: read from the current selection when it is
// someone else's, or what the last restore gave back while ours still holds it.
void KeptClipboard::keep() {
    if (!m_kept && !m_selectionIsOurs) {
        m_offer->types = userTypes();
        if (m_offer->types.size() > maximumKeptTypes)
            m_offer->types.resize(maximumKeptTypes);
    } else if (!m_kept) {
        m_kept = m_restored;
    }
    keepNext();
}

// The user's content is read one type after the other; the offer is made once all are in.
void KeptClipboard::keepNext() {
    PendingOffer& offer = *m_offer;
    if (!m_kept && !offer.types.empty()) {
        const std::string type = offer.types.front();
        offer.types.erase(offer.types.begin());
        const int fd = receive(type);
        if (fd < 0)
            return keepNext();
        m_reader = new PipeReader(
            fd, maximumKeptBytes - offer.bytes, readTimeoutMs,
            [this, type](std::optional<std::string> content) {
                m_reader = nullptr;
                if (content) {
                    m_offer->bytes += content->size();
                    m_offer->content.emplace(type, std::move(*content));
                } else {
                    m_offer->types.clear(); // too large or too slow: the rest would be too
                }
                keepNext();
            },
            &m_context);
        return;
    }
    if (!m_kept)
        m_kept = std::move(offer.content);
    Content content;
    for (const std::string& type : textTypes())
        content.emplace(type, offer.text);
    const Offered offered = std::move(offer.offered);
    m_offer.reset();
    set(content, true);
    if (offered)
        offered(m_selectionIsOurs);
}

void KeptClipboard::restore() {
    if (m_reader)
        delete std::exchange(m_reader, nullptr);
    m_offer.reset();
    ++m_turn;
    if (!m_kept)
        return;
    m_restored = *std::exchange(m_kept, std::nullopt);
    set(m_restored, false);
}

void KeptClipboard::set(const Content& content, bool isPaste) {
    std::vector<std::string> types;
    for (const auto& entry : content)
        types.push_back(entry.first);
    m_served = content;
    m_selectionIsOurs = select(types);
    // A paste that could not be offered is not waited for.
    m_delivered = !isPaste || !m_selectionIsOurs;
}

void KeptClipboard::userSelected() {
    m_selectionIsOurs = false;
    m_restored.clear();
    // What the user copies now is newer than what was kept before the paste: restoring that would
    // overwrite it.
    m_kept.reset();
}

void KeptClipboard::serve(const std::string& type, int fd, bool countsAsPaste,
                          std::function<void(bool)> written) {
    const auto found = m_served.find(type);
    if (found == m_served.end()) {
        close(fd);
        if (written)
            written(false);
        return;
    }
    new PipeWriter(
        fd, found->second,
        [this, countsAsPaste, written = std::move(written)](bool complete) {
            if (complete && countsAsPaste)
                m_delivered = true;
            if (written)
                written(complete);
        },
        &m_context);
}

} // namespace quillvane
