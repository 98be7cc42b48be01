#pragma once

#include <chrono>

#include <gio/gio.h>

namespace quillvane {

// One asynchronous libsecret call run to its end on a private GLib context, as libsecret's own
// *_sync calls run, except that it is cancelled after a time limit: an unlock prompt that nobody
// answers must not hold the host (and its start) forever. A cancelled call finishes with
// G_IO_ERROR_CANCELLED, as a dismissed prompt does.
//
//     SecretCall call(limit);
//     secret_service_get(flags, call.cancellable(), &SecretCall::done, &call);
//     SecretService* service = secret_service_get_finish(call.wait(), &error);
//
// Asynchronous calls made while the SecretCall exists report to its context, so make exactly
// one, between construction and wait().
class SecretCall {
public:
    explicit SecretCall(std::chrono::milliseconds limit);
    ~SecretCall();
    SecretCall(const SecretCall&) = delete;
    SecretCall& operator=(const SecretCall&) = delete;

    GCancellable* cancellable() const { return m_cancellable; }
    // The GAsyncReadyCallback to pass, with the SecretCall as its data.
    static void done(GObject* source, GAsyncResult* result, gpointer self);
    // Runs the private context until the call has finished; the result lives as long as this.
    GAsyncResult* wait();

private:
    GMainContext* m_context;
    GCancellable* m_cancellable;
    GSource* m_timeout;
    GAsyncResult* m_result = nullptr;
};

} // namespace quillvane
