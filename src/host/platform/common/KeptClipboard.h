#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <QObject>

#include "PasteClipboard.h"

namespace quillvane {

class PipeReader;

// The keep-and-restore rule of a clipboard we paste through, whatever carries it (a Mutter
// session, wlroots' data control): before the first offer the user's content is read in every
// type it is offered in, and restore() offers it again, so pasting leaves the clipboard as it
// was. Reads and writes go through pipes on the event loop and never block it; content larger than
// maximumKeptBytes in all, types beyond the first maximumKeptTypes, and a read not done within
// readTimeoutMs are not kept: restoring the text of an ordinary copy matters, a copied video does
// not fit the purpose, and a program that does not answer must not hold the paste up.
// A derived class carries the selection; it calls userSelected() and serve().
class KeptClipboard : public PasteClipboard {
public:
    using Content = std::map<std::string, std::string>;

    static constexpr std::size_t maximumKeptBytes = 16 * 1024 * 1024;
    static constexpr std::size_t maximumKeptTypes = 16;
    static constexpr int readTimeoutMs = 1000;
    // The types programs ask for when they paste text, the first being what toolkits prefer.
    static const std::vector<std::string>& textTypes();

    ~KeptClipboard() override;

    void offer(const std::string& text, Offered offered) final;
    void restore() final;
    bool delivered() const final { return !m_offer && m_delivered; }

protected:
    KeptClipboard();

    // The types the current selection, someone else's, is offered in; the ones to ask for.
    virtual std::vector<std::string> userTypes() const = 0;
    // A descriptor to read the current selection in `type` from, or -1.
    virtual int receive(const std::string& type) = 0;
    // Makes a selection of ours, in these types (none: no selection), and serves it from now on.
    // False when the clipboard cannot be set.
    virtual bool select(const std::vector<std::string>& types) = 0;
    // Calls `then` once every change of the selection the carrier announced before now has
    // reached userSelected(), so that an offer starts from the user's latest copy. At once unless
    // the announcements can lag behind.
    virtual void settle(std::function<void()> then) { then(); }

    // The selection is someone else's from now on.
    void userSelected();
    // A program asks for our selection in `type`: it is written into `fd` (taken), and `written`
    // told whether all of it was. The write of a paste tells delivered(), unless `countsAsPaste`
    // is false.
    void serve(const std::string& type, int fd, bool countsAsPaste = true,
               std::function<void(bool)> written = {});

private:
    struct PendingOffer {
        std::string text;
        Offered offered;
        std::vector<std::string> types;
        Content content;
        std::size_t bytes = 0;
    };
    void keep();
    void keepNext();
    void set(const Content& content, bool isPaste);

    QObject m_context;
    std::optional<PendingOffer> m_offer;
    // Counts offers and restores: a settle() answered after a newer one is left alone.
    unsigned m_turn = 0;
    PipeReader* m_reader = nullptr;
    bool m_selectionIsOurs = false;
    Content m_served;
    bool m_delivered = true;
    // The user's content, taken at the first offer and given back by restore(); and what the
    // last restore() gave back, which is still the user's while the selection stays ours.
    std::optional<Content> m_kept;
    Content m_restored;
};

} // namespace quillvane
