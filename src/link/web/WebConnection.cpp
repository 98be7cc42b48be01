#include "WebConnection.h"

#include <QFile>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSslSocket>

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcWeb, "app.quillvane.WebEndpoint", QtInfoMsg)

// The page loads only its own files: scripts and the core's WebAssembly from here (WebAssembly
// compilation needs 'wasm-unsafe-eval'; no other eval, no inline script or style), the socket
// back to here, nothing framed, nothing posted anywhere.
constexpr char kSecurityHeaders[] =
    "Content-Security-Policy: default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; "
    "style-src 'self'; img-src 'self' data:; connect-src 'self'; manifest-src 'self'; "
    "worker-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\n"
    "Cache-Control: no-cache\r\n";

QByteArray reasonPhrase(int status) {
    switch (status) {
    case 200: return "OK";
    case 204: return "No Content";
    case 400: return "Bad Request";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 411: return "Length Required";
    case 413: return "Content Too Large";
    case 408: return "Request Timeout";
    case 414: return "URI Too Long";
    case 426: return "Upgrade Required";
    case 431: return "Request Header Fields Too Large";
    case 505: return "HTTP Version Not Supported";
    default: return "Error";
    }
}

QByteArray contentType(const QString& name) {
    static const std::pair<const char*, const char*> types[] = {
        {".html", "text/html; charset=utf-8"}, {".js", "text/javascript; charset=utf-8"},
        {".mjs", "text/javascript; charset=utf-8"}, {".css", "text/css; charset=utf-8"},
        {".wasm", "application/wasm"}, {".json", "application/json"},
        {".webmanifest", "application/manifest+json"}, {".svg", "image/svg+xml"}, {".png", "image/png"}};
    for (const auto& [suffix, type] : types)
        if (name.endsWith(QLatin1String(suffix)))
            return type;
    return {};
}

} // namespace

WebConnection::WebConnection(qintptr descriptor, const QSslConfiguration& configuration, QString resourceRoot,
                             std::chrono::milliseconds deadline, int maximumRequests, QObject* parent)
    : QObject(parent), m_socket(std::make_unique<QSslSocket>()), m_resourceRoot(std::move(resourceRoot)),
      m_requestsLeft(maximumRequests), m_deadlineLength(deadline) {
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [this] { abort(); });
    if (!m_socket->setSocketDescriptor(descriptor)) {
        m_done = true;
        QMetaObject::invokeMethod(this, [this] { finish(); }, Qt::QueuedConnection);
        return;
    }
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_socket->setSslConfiguration(configuration);
    connect(m_socket.get(), &QSslSocket::readyRead, this, &WebConnection::readAvailable);
    connect(m_socket.get(), &QSslSocket::disconnected, this, [this] { finish(); });
    connect(m_socket.get(), &QSslSocket::errorOccurred, this, [this] { abort(); });
    connect(m_socket.get(), &QSslSocket::sslErrors, this, [this] { abort(); });
    m_deadline.start(deadline);
    m_socket->startServerEncryption();
}

WebConnection::~WebConnection() {
    if (m_socket) {
        m_socket->disconnect(this);
        m_socket->abort();
    }
}

QHostAddress WebConnection::peerAddress() const { return m_socket ? m_socket->peerAddress() : QHostAddress(); }

std::unique_ptr<QSslSocket> WebConnection::takeSocket() {
    m_deadline.stop();
    if (m_socket)
        m_socket->disconnect(this);
    m_done = true;
    return std::move(m_socket);
}

void WebConnection::abort() {
    if (m_socket)
        m_socket->abort();
    finish();
}

void WebConnection::finish() {
    m_deadline.stop();
    m_done = true;
    if (auto done = std::move(onDone))
        done();
}

void WebConnection::readAvailable() {
    while (!m_done && m_socket && m_socket->bytesAvailable() > m_fed) {
        // Peeked, not read: an upgrade leaves the whole request for the WebSocket server.
        const QByteArray bytes = m_socket->peek(m_socket->bytesAvailable());
        const auto fresh = bytes.sliced(m_fed);
        m_fed = bytes.size();
        switch (m_reader.feed(std::string_view(fresh.constData(), static_cast<std::size_t>(fresh.size())))) {
        case HttpRequestReader::State::reading:
            return;
        case HttpRequestReader::State::refused:
            refuse(m_reader.refusal());
            return;
        case HttpRequestReader::State::complete:
            handle(m_reader.request());
            break;
        }
    }
}

// Only the page this endpoint served may open a link: another site open in the same browser
// would send its own origin.
bool WebConnection::fromOwnOrigin(const HttpRequest& request) const {
    const auto host = request.header("host");
    const auto origin = request.header("origin");
    if (host && origin && *origin == "https://" + std::string(*host))
        return true;
    qCInfo(lcWeb).noquote() << "Link from a foreign origin refused:"
                            << QString::fromStdString(std::string(origin.value_or("(none)")));
    return false;
}

// The request just answered is consumed; the reader starts on the next.
void WebConnection::nextRequest() {
    m_socket->read(static_cast<qint64>(m_reader.headLength() + m_reader.contentLength()));
    m_fed = 0;
    m_reader = HttpRequestReader();
}

void WebConnection::handle(HttpRequest request) {
    m_userAgent = QString::fromStdString(std::string(request.header("user-agent").value_or("")));
    const QString target = QString::fromStdString(request.target).section(QLatin1Char('?'), 0, 0);
    if (request.method == "POST") {
        handlePost(request, target);
        return;
    }
    if (target == QLatin1String("/ws")) {
        if (!request.headerLists("connection", "upgrade") || !request.headerLists("upgrade", "websocket")) {
            respond(426, "text/plain; charset=utf-8", "WebSocket only\n", false);
            return;
        }
        if (!fromOwnOrigin(request)) {
            refuse(403);
            return;
        }
        m_deadline.stop();
        if (onUpgrade)
            onUpgrade();
        return;
    }
    // Consumed only now that it is not an upgrade.
    nextRequest();
    // A browser's EventSource sends no origin for its own page, and another site's its own: what
    // the stream says first only the page can read, but no other site opens links here either.
    if (target == QLatin1String("/link")) {
        if (request.header("origin") && !fromOwnOrigin(request)) {
            refuse(403);
            return;
        }
        m_deadline.stop();
        if (onEventStream)
            onEventStream();
        return;
    }
    static const QRegularExpression file(QStringLiteral("^/([a-z0-9][a-z0-9.-]{0,63})$"));
    const auto match = file.match(target == QLatin1String("/") ? QStringLiteral("/index.html") : target);
    QFile resource(m_resourceRoot + QLatin1Char('/') + match.captured(1));
    const QByteArray type = match.hasMatch() ? contentType(match.captured(1)) : QByteArray();
    const bool keepAlive = --m_requestsLeft > 0 && !request.headerLists("connection", "close");
    // The pattern admits no slash, so nothing outside the root can be named.
    if (type.isEmpty() || !resource.open(QIODevice::ReadOnly)) {
        refuse(404, keepAlive);
        return;
    }
    respond(200, type, resource.readAll(), keepAlive);
}

void WebConnection::handlePost(const HttpRequest& request, const QString& target) {
    if (m_socket->bytesAvailable() < static_cast<qint64>(m_reader.headLength() + m_reader.contentLength()))
        return; // the body is still on its way
    const QByteArray body = m_socket->peek(m_socket->bytesAvailable())
                                .sliced(static_cast<qsizetype>(m_reader.headLength()),
                                        static_cast<qsizetype>(m_reader.contentLength()));
    nextRequest();
    if (!fromOwnOrigin(request)) {
        refuse(403);
        return;
    }
    static const QRegularExpression link(QStringLiteral("^/link/([A-Za-z0-9_-]{22})$"));
    const auto match = link.match(target);
    if (!match.hasMatch() || !onPost || !onPost(match.captured(1), body)) {
        refuse(404);
        return;
    }
    m_deadline.start(m_deadlineLength);
    respond(204, {}, {}, !request.headerLists("connection", "close"));
}

void WebConnection::refuse(int status, bool keepAlive) {
    respond(status, "text/plain; charset=utf-8", reasonPhrase(status) + "\n", keepAlive);
}

void WebConnection::respond(int status, const QByteArray& type, const QByteArray& body, bool keepAlive) {
    // A 204 has no content and says nothing of it.
    const QByteArray content = status == 204 ? QByteArray()
                                             : "Content-Type: " + type + "\r\n" + "Content-Length: " +
                                                   QByteArray::number(body.size()) + "\r\n";
    QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n" + content +
                      kSecurityHeaders + (keepAlive ? "" : "Connection: close\r\n") + "\r\n";
    m_socket->write(head + body);
    if (!keepAlive) {
        m_done = true;
        m_deadline.stop();
        m_socket->disconnectFromHost();
    }
}

} // namespace quillvane
