#include "keychain/SecretCall.h"

namespace quillvane {

namespace {

// How long a cancelled call may take to wind up before it is abandoned.
constexpr std::chrono::milliseconds kGrace{2000};

GSource* timeoutSource(std::chrono::milliseconds after, GSourceFunc function, gpointer data,
                       GMainContext* context) {
    GSource* source = g_timeout_source_new(static_cast<guint>(after.count()));
    g_source_set_callback(source, function, data, nullptr);
    g_source_attach(source, context);
    return source;
}

} // namespace

SecretCall::SecretCall(std::chrono::milliseconds limit)
    : m_context(g_main_context_new()), m_cancellable(g_cancellable_new()), m_outcome(new Outcome) {
    m_cancelAt = timeoutSource(
        limit,
        [](gpointer cancellable) {
            g_cancellable_cancel(G_CANCELLABLE(cancellable));
            return G_SOURCE_REMOVE;
        },
        m_cancellable, m_context);
    m_abandonAt = timeoutSource(
        limit + kGrace,
        [](gpointer expired) {
            *static_cast<bool*>(expired) = true;
            return G_SOURCE_REMOVE;
        },
        &m_expired, m_context);
    g_main_context_push_thread_default(m_context);
}

SecretCall::~SecretCall() {
    g_main_context_pop_thread_default(m_context);
    for (GSource* source : {m_cancelAt, m_abandonAt}) {
        g_source_destroy(source);
        g_source_unref(source);
    }
    if (m_outcome && m_outcome->result)
        g_object_unref(m_outcome->result);
    delete m_outcome;
    g_object_unref(m_cancellable);
    g_main_context_unref(m_context);
}

void SecretCall::done(GObject*, GAsyncResult* result, gpointer data) {
    auto* outcome = static_cast<Outcome*>(data);
    if (outcome->abandoned)
        delete outcome;
    else
        outcome->result = G_ASYNC_RESULT(g_object_ref(result));
}

GAsyncResult* SecretCall::wait(GError** error) {
    while (!m_outcome->result) {
        if (m_expired) {
            // Nobody iterates the context again, so the callback is unlikely to run; if it does,
            // the outcome is its to free.
            m_outcome->abandoned = true;
            m_outcome = nullptr;
            g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT,
                                "The Secret Service did not answer in time");
            return nullptr;
        }
        g_main_context_iteration(m_context, TRUE);
    }
    return m_outcome->result;
}

} // namespace quillvane
