#include "keychain/SecretServiceItemStore.h"

#include <libsecret/secret.h>

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

bool SecretServiceItemStore::isAvailable() {
    GError* error = nullptr;
    SecretService* service = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, &error);
    if (!service) {
        g_error_free(error);
        return false;
    }
    g_object_unref(service);
    return true;
}

ItemRead SecretServiceItemStore::read(const std::string& account) const {
    GError* error = nullptr;
    SecretValue* value = secret_password_lookup_binary_sync(
        pairingSchema(), nullptr, &error, "service", kService, "account", account.c_str(), nullptr);
    if (error)
        return {takeStatus(error), std::nullopt};
    if (!value)
        return {};
    gsize length = 0;
    const gchar* bytes = secret_value_get(value, &length);
    ItemRead found{0, std::string(bytes, length)};
    secret_value_unref(value);
    return found;
}

int SecretServiceItemStore::write(const std::string& account, std::string_view data) const {
    GError* error = nullptr;
    SecretService* service = secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, &error);
    if (!service)
        return takeStatus(error);
    GHashTable* attributes = secret_attributes_build(pairingSchema(), "service", kService,
                                                     "account", account.c_str(), nullptr);
    // Update every item that matches, whoever made it; add one only when none does. Storing
    // alone would add a second item beside one written under another schema name.
    GList* items = secret_service_search_sync(
        service, pairingSchema(), attributes,
        static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_UNLOCK), nullptr, &error);
    SecretValue* value =
        secret_value_new(data.data(), static_cast<gssize>(data.size()), "text/plain");
    if (!error && !items) {
        const std::string label = "Quillvane pairing (" + account + ")";
        secret_service_store_sync(service, pairingSchema(), attributes, SECRET_COLLECTION_DEFAULT,
                                  label.c_str(), value, nullptr, &error);
    }
    for (GList* item = items; item && !error; item = item->next)
        secret_item_set_secret_sync(SECRET_ITEM(item->data), value, nullptr, &error);
    secret_value_unref(value);
    g_list_free_full(items, g_object_unref);
    g_hash_table_unref(attributes);
    g_object_unref(service);
    return error ? takeStatus(error) : 0;
}

int SecretServiceItemStore::remove(const std::string& account) const {
    GError* error = nullptr;
    // FALSE without an error means there was nothing to remove.
    secret_password_clear_sync(pairingSchema(), nullptr, &error, "service", kService, "account",
                               account.c_str(), nullptr);
    return error ? takeStatus(error) : 0;
}

} // namespace quillvane
