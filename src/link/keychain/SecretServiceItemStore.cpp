#include "keychain/SecretServiceItemStore.h"

#include <libsecret/secret.h>

#include "keychain/SecretCall.h"

namespace quillvane {

namespace {

// The literal behind the view, so it ends in a NUL as libsecret's varargs need.
constexpr const char* kService = SecretServiceItemStore::service.data();

const SecretSchema* pairingSchema() {
    static const SecretSchema schema = [] {
        SecretSchema s{};
        s.name = "app.quillvane.Pairing";
        // Items are found by service and account alone, whoever wrote them (secret-tool, an
        // older version): the schema name libsecret adds as an attribute is not matched.
        s.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
        s.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        s.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return s;
    }();
    return &schema;
}

// Takes the error; returns its code, which is what users see in brackets.
int takeStatus(GError* error) {
    const int code = error->code;
    g_error_free(error);
    return code;
}

} // namespace

SecretServiceItemStore::SecretServiceItemStore(std::chrono::milliseconds timeLimit)
    : m_timeLimit(timeLimit) {}

bool SecretServiceItemStore::isAvailable() {
    GError* error = nullptr;
    SecretService* service = SecretServiceItemStore().connect(&error);
    if (!service) {
        g_error_free(error);
        return false;
    }
    g_object_unref(service);
    return true;
}

SecretService* SecretServiceItemStore::connect(GError** error) const {
    SecretCall call(m_timeLimit);
    secret_service_get(SECRET_SERVICE_OPEN_SESSION, call.cancellable(), &SecretCall::done,
                       call.data());
    GAsyncResult* result = call.wait(error);
    return result ? secret_service_get_finish(result, error) : nullptr;
}

GList* SecretServiceItemStore::search(SecretService* service, const std::string& account, int flags,
                                      GError** error) const {
    GHashTable* attributes = secret_attributes_build(pairingSchema(), "service", kService,
                                                     "account", account.c_str(), nullptr);
    SecretCall call(m_timeLimit);
    secret_service_search(service, pairingSchema(), attributes,
                          static_cast<SecretSearchFlags>(flags | SECRET_SEARCH_UNLOCK),
                          call.cancellable(), &SecretCall::done, call.data());
    GAsyncResult* result = call.wait(error);
    GList* items = result ? secret_service_search_finish(service, result, error) : nullptr;
    g_hash_table_unref(attributes);
    return items;
}

ItemRead SecretServiceItemStore::read(const std::string& account) const {
    GError* error = nullptr;
    SecretService* service = connect(&error);
    if (!service)
        return {takeStatus(error), std::nullopt};
    GList* items = search(service, account, SECRET_SEARCH_LOAD_SECRETS, &error);
    ItemRead found;
    if (error) {
        found.status = takeStatus(error);
    } else if (items) {
        // Still locked after the search's unlock: the prompt was dismissed or could not show.
        // Reading it as "no item" would make the host replace a pairing it merely cannot see.
        SecretValue* value = secret_item_get_secret(SECRET_ITEM(items->data));
        if (!value) {
            found.status = SECRET_ERROR_IS_LOCKED;
        } else {
            gsize length = 0;
            const gchar* bytes = secret_value_get(value, &length);
            found.data = std::string(bytes, length);
            secret_value_unref(value);
        }
    }
    g_list_free_full(items, g_object_unref);
    g_object_unref(service);
    return found;
}

int SecretServiceItemStore::write(const std::string& account, std::string_view data) const {
    GError* error = nullptr;
    SecretService* service = connect(&error);
    if (!service)
        return takeStatus(error);
    // Update every item that matches, whoever made it; add one only when none does. Storing
    // alone would add a second item beside one written under another schema name.
    GList* items = search(service, account, SECRET_SEARCH_ALL, &error);
    SecretValue* value =
        secret_value_new(data.data(), static_cast<gssize>(data.size()), "text/plain");
    if (!error && !items) {
        GHashTable* attributes = secret_attributes_build(pairingSchema(), "service", kService,
                                                         "account", account.c_str(), nullptr);
        const std::string label = "Quillvane pairing (" + account + ")";
        SecretCall call(m_timeLimit);
        secret_service_store(service, pairingSchema(), attributes, SECRET_COLLECTION_DEFAULT,
                             label.c_str(), value, call.cancellable(), &SecretCall::done,
                             call.data());
        if (GAsyncResult* result = call.wait(&error))
            secret_service_store_finish(service, result, &error);
        g_hash_table_unref(attributes);
    }
    for (GList* item = items; item && !error; item = item->next) {
        SecretCall call(m_timeLimit);
        secret_item_set_secret(SECRET_ITEM(item->data), value, call.cancellable(),
                               &SecretCall::done, call.data());
        if (GAsyncResult* result = call.wait(&error))
            secret_item_set_secret_finish(SECRET_ITEM(item->data), result, &error);
    }
    secret_value_unref(value);
    g_list_free_full(items, g_object_unref);
    g_object_unref(service);
    return error ? takeStatus(error) : 0;
}

int SecretServiceItemStore::remove(const std::string& account) const {
    GError* error = nullptr;
    SecretCall call(m_timeLimit);
    secret_password_clear(pairingSchema(), call.cancellable(), &SecretCall::done, call.data(),
                          "service", kService, "account", account.c_str(), nullptr);
    // FALSE without an error means there was nothing to remove.
    if (GAsyncResult* result = call.wait(&error))
        secret_password_clear_finish(result, &error);
    return error ? takeStatus(error) : 0;
}

} // namespace quillvane
