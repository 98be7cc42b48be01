#include "KWinBackend.h"

#include <string>
#include <utility>
#include <vector>

#include <linux/input-event-codes.h>
#include <wayland-client.h>

#include "fake-input-client-protocol.h"
#include "platform/common/PostingBackend.h"
#include "platform/wayland/WaylandSession.h"

namespace quillvane {
namespace {

// Version 4 added keys; earlier KWins could move the pointer but not type.
constexpr std::uint32_t fakeInputVersion = 4;

class KWinBackend final : public PostingBackend {
public:
    KWinBackend();
    ~KWinBackend() override;

    KWinBackend(const KWinBackend&) = delete;
    KWinBackend& operator=(const KWinBackend&) = delete;

    std::string_view name() const override { return "kwin"; }
    std::vector<DisplayRect> displays() override;

private:
    // KWin takes fake input's motion as it is, without a mouse's acceleration.
    void postMotion(TrackpadVector delta) override;
    void postButton(std::uint32_t code, bool down) override;
    void postKey(std::uint32_t code, bool down) override;
    void postScroll(const ScrollEvent& event) override;
    void send() override { m_session->flush(); }
    const LayoutKeys* layout() override;

    std::unique_ptr<WaylandSession> m_session;
    org_kde_kwin_fake_input* m_fakeInput = nullptr;
};

KWinBackend::KWinBackend() : PostingBackend() {
    std::string reason;
    m_session = WaylandSession::connect(reason);
    if (!m_session) {
        lose(reason);
        return;
    }
    m_fakeInput = static_cast<org_kde_kwin_fake_input*>(
        m_session->bind(org_kde_kwin_fake_input_interface, fakeInputVersion));
    if (!m_fakeInput) {
        lose(m_session->offersAnyWithPrefix("org_kde_")
                 ? "KWin 只让从已安装的桌面项启动的程序发送输入；请从应用菜单启动 Quillvane，"
                   "或让它在登录时启动，不要从终端启动"
                 : "这个 Wayland 混成器不是 KWin，也不提供 KDE 的模拟输入协议");
        return;
    }
    org_kde_kwin_fake_input_authenticate(m_fakeInput, "Quillvane",
                                         "A paired phone acts as this computer's trackpad and "
                                         "keyboard");
    m_session->flush();
    // KWin is gone (restarted or crashed) or withdrew the protocol: what our device held went
    // with it.
    m_session->setLostHandler(
        [this](const std::string& why) { lose("经 KWin 发送输入已停止（" + why + "）"); });
    setAvailable(m_session->clipboard());
}

KWinBackend::~KWinBackend() {
    letGo();
    // KWin takes the releases before the device goes (it drops a release whose fake input is
    // destroyed right behind it); a hung KWin does not hold up the stop.
    if (canPost())
        m_session->settle(1000);
    if (m_fakeInput)
        org_kde_kwin_fake_input_destroy(m_fakeInput);
}

std::vector<DisplayRect> KWinBackend::displays() {
    return canPost() ? m_session->displays() : std::vector<DisplayRect>{};
}

const LayoutKeys* KWinBackend::layout() {
    return m_session && m_session->layout() ? &*m_session->layout() : nullptr;
}

void KWinBackend::postMotion(TrackpadVector delta) {
    org_kde_kwin_fake_input_pointer_motion(m_fakeInput, wl_fixed_from_double(delta.x),
                                           wl_fixed_from_double(delta.y));
}

void KWinBackend::postButton(std::uint32_t code, bool down) {
    org_kde_kwin_fake_input_button(m_fakeInput, code, down ? 1 : 0);
}

void KWinBackend::postKey(std::uint32_t code, bool down) {
    org_kde_kwin_fake_input_keyboard_key(m_fakeInput, code, down ? 1 : 0);
}

// Wayland's axis values are in the same units as motion, so the pixels pass through; a positive
// value scrolls down or right, where a Mac's positive pixels move the view up or left.
void KWinBackend::postScroll(const ScrollEvent& event) {
    if (event.wheel1 != 0)
        org_kde_kwin_fake_input_axis(m_fakeInput, WL_POINTER_AXIS_VERTICAL_SCROLL,
                                     wl_fixed_from_int(-event.wheel1));
    if (event.wheel2 != 0)
        org_kde_kwin_fake_input_axis(m_fakeInput, WL_POINTER_AXIS_HORIZONTAL_SCROLL,
                                     wl_fixed_from_int(-event.wheel2));
}

} // namespace

std::unique_ptr<InputBackend> makeKWinBackend() {
    return std::make_unique<KWinBackend>();
}

} // namespace quillvane
