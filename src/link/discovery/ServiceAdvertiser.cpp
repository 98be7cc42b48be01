#include "discovery/ServiceAdvertiser.h"

#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>

#include "discovery/AvahiConnection.h"
#include "discovery/AvahiTxt.h"

namespace quillvane {

namespace {

// Avahi's alternative names count up ("name #2", "name #3", ...); a daemon that refuses this many
// in a row is not going to accept the next one either.
constexpr int kMaxRenames = 20;

QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

ServiceAdvertiser::ServiceAdvertiser(QObject* parent) : QObject(parent) {
    m_connection = std::make_unique<AvahiConnection>(AvahiConnection::Handlers{
        .running =
            [this](AvahiClient* client) {
                if (m_wanted)
                    registerService(client);
            },
        .suspended =
            [this] {
                // The host name is being registered again: our records would carry the old one.
                if (m_group)
                    avahi_entry_group_reset(m_group);
                if (m_wanted)
                    m_state = State::Waiting;
            },
        .clientGone =
            [this] {
                m_group = nullptr;
                if (m_wanted) {
                    // A restarted daemon has forgotten the collision, so try the real name first.
                    m_name = m_wanted->advertisement.name;
                    m_state = State::Waiting;
                }
            },
        .unavailable =
            [this](int error) {
                if (m_wanted)
                    fail(error);
            },
    });
}

ServiceAdvertiser::~ServiceAdvertiser() {
    if (m_group)
        avahi_entry_group_free(m_group);
    m_connection.reset();
}

void ServiceAdvertiser::publish(const ServiceAdvertisement& advertisement, quint16 port) {
    m_wanted = Wanted{advertisement, port};
    m_name = advertisement.name;
    qCInfo(lcServiceDiscovery, "Publishing %s as %s on port %u", advertisement.name.c_str(),
           advertisement.type.c_str(), unsigned{port});
    m_state = State::Waiting;
    if (AvahiClient* client = m_connection->runningClient())
        registerService(client);
    else
        m_connection->open();
}

void ServiceAdvertiser::withdraw() {
    if (m_wanted)
        qCInfo(lcServiceDiscovery, "Withdrawing %s", m_name.c_str());
    m_wanted.reset();
    if (m_group) {
        avahi_entry_group_free(m_group);
        m_group = nullptr;
    }
    m_state = State::Withdrawn;
}

QString ServiceAdvertiser::registeredName() const {
    return m_state == State::Registered ? fromUtf8(m_name) : QString();
}

void ServiceAdvertiser::registerService(AvahiClient* client) {
    if (!m_group) {
        m_group = avahi_entry_group_new(
            client,
            [](AvahiEntryGroup* group, AvahiEntryGroupState state, void* self) {
                static_cast<ServiceAdvertiser*>(self)->handleGroupState(group, state);
            },
            this);
        if (!m_group) {
            fail(avahi_client_errno(client));
            return;
        }
    } else {
        avahi_entry_group_reset(m_group);
    }

    AvahiStringList* txt = toAvahiStringList(m_wanted->advertisement.txt);
    int error = AVAHI_OK;
    for (int renames = 0;; ++renames) {
        error = avahi_entry_group_add_service_strlst(
            m_group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0), m_name.c_str(),
            m_wanted->advertisement.type.c_str(), nullptr, nullptr, m_wanted->port, txt);
        // A service of this name already published through the same daemon is refused here
        // rather than reported as a group collision.
        if (error != AVAHI_ERR_COLLISION || renames == kMaxRenames)
            break;
        takeAlternativeName();
    }
    avahi_string_list_free(txt);
    if (error == AVAHI_OK)
        error = avahi_entry_group_commit(m_group);
    if (error != AVAHI_OK)
        fail(error);
}

void ServiceAdvertiser::handleGroupState(AvahiEntryGroup* group, int state) {
    switch (state) {
    case AVAHI_ENTRY_GROUP_ESTABLISHED: {
        qCInfo(lcServiceDiscovery, "Registered %s", m_name.c_str());
        m_state = State::Registered;
        const QString name = fromUtf8(m_name);
        QMetaObject::invokeMethod(
            this,
            [this, name] {
                if (m_state == State::Registered && registeredName() == name)
                    Q_EMIT registered(name);
            },
            Qt::QueuedConnection);
        break;
    }
    case AVAHI_ENTRY_GROUP_COLLISION:
        // Another host on the network holds the name; the TXT "id" still tells ours apart.
        takeAlternativeName();
        registerService(avahi_entry_group_get_client(group));
        break;
    case AVAHI_ENTRY_GROUP_FAILURE:
        fail(avahi_client_errno(avahi_entry_group_get_client(group)));
        break;
    default:
        break;
    }
}

void ServiceAdvertiser::takeAlternativeName() {
    char* alternative = avahi_alternative_service_name(m_name.c_str());
    qCInfo(lcServiceDiscovery, "Name %s is taken; renaming to %s", m_name.c_str(), alternative);
    m_name = alternative;
    avahi_free(alternative);
}

void ServiceAdvertiser::fail(int error) {
    // A daemon that stays away is found again at every retry; that is one failure, not many.
    if (m_state == State::Failed && error == m_error)
        return;
    qCWarning(lcServiceDiscovery, "Advertising %s failed: %s", m_name.c_str(),
              avahi_strerror(error));
    m_state = State::Failed;
    m_error = error;
    // The system's form of a failure with a status: the text, then Avahi's code in brackets. A
    // daemon that is not running is the one failure the user can mend, so it says how.
    const QString issue =
        (error == AVAHI_ERR_NO_DAEMON
             ? QStringLiteral("avahi-daemon 没有运行：请用 sudo systemctl enable --now avahi-daemon 启动它（%1）")
             : QStringLiteral("无法发布局域网服务（%1）"))
            .arg(error);
    QMetaObject::invokeMethod(
        this,
        [this, issue] {
            if (m_state == State::Failed)
                Q_EMIT failed(issue);
        },
        Qt::QueuedConnection);
}

} // namespace quillvane
