#pragma once

#include <chrono>

#include <gio/gio.h>

namespace quillvane {

// One asynchronous libsecret call run to its end on a private GLib context, as libsecret's own
// *_sync calls run, except that it has a time limit: an unlock prompt that nobody answers must
// not hold the host (and its start) forever. At the limit the call is cancelled; a call that does
// not finish even then (gnome-keyring waiting on a prompter that never answers) is abandoned.
//
//     SecretCall call(limit);
//     secret_service_get(flags, call.cancellable(), &SecretCall::done, call.data());
//     GAsyncResult* result = call.wait(&error);
//     SecretService* service = result ? secret_service_get_finish(result, &error) : nullptr;
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
    gpointer data() const { return m_outcome; }
    // The GAsyncReadyCallback to pass, with data() as its data.
    static void done(GObject* source, GAsyncResult* result, gpointer outcome);
    // Runs the private context until the call has finished, and returns its result (which lives
    // as long as this); null with G_IO_ERROR_TIMED_OUT in `error` when the call was abandoned.
    GAsyncResult* wait(GError** error);

private:
    // Shared with the callback; an abandoned call's callback, should it ever run, frees it.
    struct Outcome {
        GAsyncResult* result = nullptr;
        bool abandoned = false;
    };

    GMainContext* m_context;
    GCancellable* m_cancellable;
    Outcome* m_outcome;
    GSource* m_cancelAt;
    GSource* m_abandonAt;
    bool m_expired = false;
};

} // namespace quillvane
