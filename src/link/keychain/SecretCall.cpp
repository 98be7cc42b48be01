#include "keychain/SecretCall.h"

namespace quillvane {

SecretCall::SecretCall(std::chrono::milliseconds limit)
    : m_context(g_main_context_new()), m_cancellable(g_cancellable_new()),
      m_timeout(g_timeout_source_new(static_cast<guint>(limit.count()))) {
    g_source_set_callback(
        m_timeout,
        [](gpointer cancellable) {
            g_cancellable_cancel(G_CANCELLABLE(cancellable));
            return G_SOURCE_REMOVE;
        },
        m_cancellable, nullptr);
    g_source_attach(m_timeout, m_context);
    g_main_context_push_thread_default(m_context);
}

SecretCall::~SecretCall() {
    g_main_context_pop_thread_default(m_context);
    g_source_destroy(m_timeout);
    g_source_unref(m_timeout);
    if (m_result)
        g_object_unref(m_result);
    g_object_unref(m_cancellable);
    g_main_context_unref(m_context);
}

void SecretCall::done(GObject*, GAsyncResult* result, gpointer self) {
    static_cast<SecretCall*>(self)->m_result = G_ASYNC_RESULT(g_object_ref(result));
}

GAsyncResult* SecretCall::wait() {
    while (!m_result)
        g_main_context_iteration(m_context, TRUE);
    return m_result;
}

} // namespace quillvane
