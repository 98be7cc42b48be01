#pragma once

namespace quillvane {

// The login-item states, numbered as the platforms number them. An autostart entry is either there
// or not: requiresApproval and notFound never come from the XDG service.
enum class LoginItemStatus {
    notRegistered = 0,
    enabled = 1,
    requiresApproval = 2,
    notFound = 3,
};

// The platform service that starts this program at login. register and unregister fail with
// PadError, whose text is shown to the user.
class LoginItemService {
public:
    virtual ~LoginItemService() = default;

    virtual LoginItemStatus status() const = 0;
    virtual void registerItem() = 0;
    virtual void unregisterItem() = 0;
};

} // namespace quillvane
