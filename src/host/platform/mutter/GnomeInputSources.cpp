#include "GnomeInputSources.h"

#include <algorithm>
#include <memory>

#include <gio/gio.h>

namespace quillvane {
namespace {

constexpr const char* schemaId = "org.gnome.desktop.input-sources";

template <typename T, void (*Free)(T*)>
struct Deleter {
    void operator()(T* pointer) const { Free(pointer); }
};
using Variant = std::unique_ptr<GVariant, Deleter<GVariant, g_variant_unref>>;

std::vector<GnomeInputSources::Source> sourcesOf(GSettings* settings, const char* key) {
    std::vector<GnomeInputSources::Source> sources;
    const Variant value(g_settings_get_value(settings, key));
    if (!value || !g_variant_is_of_type(value.get(), G_VARIANT_TYPE("a(ss)")))
        return sources;
    GVariantIter iter;
    g_variant_iter_init(&iter, value.get());
    const gchar* type = nullptr;
    const gchar* id = nullptr;
    while (g_variant_iter_next(&iter, "(&s&s)", &type, &id))
        sources.emplace_back(type, id);
    return sources;
}

// The settings object is made once and kept for the program's life: with dconf each one
// subscribes to change notifications on the session bus, and a kept one reads the values as they
// are now.
GSettings* inputSourceSettings() {
    GSettingsSchemaSource* installed = g_settings_schema_source_get_default();
    if (!installed)
        return nullptr;
    GSettingsSchema* schema = g_settings_schema_source_lookup(installed, schemaId, TRUE);
    if (!schema)
        return nullptr; // g_settings_new would abort the program
    const bool complete = g_settings_schema_has_key(schema, "sources") &&
                          g_settings_schema_has_key(schema, "mru-sources") &&
                          g_settings_schema_has_key(schema, "xkb-options");
    g_settings_schema_unref(schema);
    return complete ? g_settings_new(schemaId) : nullptr;
}

} // namespace

std::optional<GnomeInputSources> GnomeInputSources::read() {
    static GSettings* const settings = inputSourceSettings();
    if (!settings)
        return std::nullopt;
    GnomeInputSources read;
    read.sources = sourcesOf(settings, "sources");
    read.mostRecent = sourcesOf(settings, "mru-sources");
    gchar** options = g_settings_get_strv(settings, "xkb-options");
    for (gchar** option = options; option && *option; ++option)
        read.xkbOptions.emplace_back(*option);
    g_strfreev(options);
    return read;
}

LayoutKeys::Names GnomeInputSources::layoutOver(LayoutKeys::Names fallback) const {
    LayoutKeys::Names names = std::move(fallback);
    names.options.clear();
    for (const std::string& option : xkbOptions)
        names.options += (names.options.empty() ? "" : ",") + option;
    const auto inUse =
        std::find_if(mostRecent.begin(), mostRecent.end(), [&](const Source& source) {
            return std::find(sources.begin(), sources.end(), source) != sources.end();
        });
    const Source* source = inUse != mostRecent.end() ? &*inUse
                           : sources.empty()         ? nullptr
                                                     : &sources.front();
    if (source && source->first == "xkb" && !source->second.empty()) {
        const std::size_t plus = source->second.find('+');
        names.layout = source->second.substr(0, plus);
        names.variant = plus == std::string::npos ? std::string() : source->second.substr(plus + 1);
    }
    return names;
}

} // namespace quillvane
