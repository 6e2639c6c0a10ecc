#include "platform/wayland/server/Outputs.h"

#include "platform/decisions/DisplayIdentity.h"

#include <algorithm>

namespace platform::wayland {
namespace {

constexpr std::uint32_t outputVersion = 2;
constexpr std::uint32_t managerVersion = 2; // tells names

} // namespace

bool Outputs::areOfferedBy(const Connection& connection) {
    return connection.has(zxdg_output_manager_v1_interface, managerVersion);
}

Outputs::Outputs(const Connection& connection)
    : connection(connection),
      manager(connection.bind<zxdg_output_manager_v1>(zxdg_output_manager_v1_interface,
                                                      managerVersion)) {
    update();
}

bool Outputs::update() {
    bool any = false;
    const auto& globals = connection.globals();
    std::erase_if(entries, [&](const auto& entry) { return !globals.contains(entry.first); });
    for (const auto& [number, global] : globals) {
        if (global.interface != wl_output_interface.name || global.version < outputVersion ||
            entries.contains(number))
            continue;
        auto& entry = entries[number];
        entry.proxy = connection.bind<wl_output>(number, wl_output_interface, outputVersion);
        entry.extended.reset(
            zxdg_output_manager_v1_get_xdg_output(manager.get(), entry.proxy.get()));
        entry.listen();
        any = true;
    }
    return any;
}

void Outputs::Entry::listen() {
    static constexpr wl_output_listener listener{
        .geometry = calls<&Entry::turned>,
        .mode = calls<&Entry::sized>,
        .done = ignored,
        .scale = ignored,
        .name = nullptr,
        .description = nullptr,
    };
    static constexpr zxdg_output_v1_listener extendedListener{
        .logical_position = calls<&Entry::placed>,
        .logical_size = calls<&Entry::scaled>,
        .done = ignored,
        .name = calls<&Entry::named>,
        .description = ignored,
    };
    output.proxy = proxy.get();
    wl_output_add_listener(proxy.get(), &listener, this);
    zxdg_output_v1_add_listener(extended.get(), &extendedListener, this);
}

void Outputs::Entry::turned(int, int, int, int, int, const char*, const char*, int transform) {
    output.transform = transform;
}

void Outputs::Entry::sized(std::uint32_t flags, int width, int height, int) {
    if ((flags & WL_OUTPUT_MODE_CURRENT) == 0)
        return;
    output.width = width;
    output.height = height;
}

void Outputs::Entry::placed(int x, int y) {
    output.bounds.x = x;
    output.bounds.y = y;
}

void Outputs::Entry::scaled(int width, int height) {
    output.bounds.width = width;
    output.bounds.height = height;
}

void Outputs::Entry::named(const char* name) {
    output.name = name;
}

std::vector<Output> Outputs::present() const {
    std::vector<std::string> names;
    std::vector<Output> complete;
    for (const auto& [number, entry] : entries) {
        const auto& output = entry.output;
        if (output.name.empty() || output.width <= 0 || output.height <= 0)
            continue;
        names.push_back(output.name);
        complete.push_back(output);
    }
    const auto ids = displayIDs(names);
    for (auto& output : complete)
        output.id = ids.at(output.name);
    return complete;
}

} // namespace platform::wayland
