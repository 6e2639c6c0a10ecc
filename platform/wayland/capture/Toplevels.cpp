#include "platform/wayland/capture/Toplevels.h"

#include <algorithm>
#include <span>
#include <utility>

namespace platform::wayland {

Toplevels::Toplevels(const Connection& connection, std::vector<std::string> applications)
    : applications(std::move(applications)),
      manager(connection.bind<zwlr_foreign_toplevel_manager_v1>(
          zwlr_foreign_toplevel_manager_v1_interface)) {
    static constexpr zwlr_foreign_toplevel_manager_v1_listener listener{
        .toplevel = calls<&Toplevels::opened>,
        .finished = ignored,
    };
    zwlr_foreign_toplevel_manager_v1_add_listener(manager.get(), &listener, this);
}

void Toplevels::opened(zwlr_foreign_toplevel_handle_v1* proxy) {
    static constexpr zwlr_foreign_toplevel_handle_v1_listener listener{
        .title = ignored,
        .app_id = calls<&Window::named>,
        .output_enter = calls<&Window::entered>,
        .output_leave = calls<&Window::left>,
        .state = calls<&Window::stated>,
        .done = ignored,
        .closed = calls<&Window::closed>,
        .parent = nullptr, // of a later version
    };
    auto& window =
        windows.emplace_back(Window{*this, Owned<zwlr_foreign_toplevel_handle_v1>(proxy)});
    zwlr_foreign_toplevel_handle_v1_add_listener(proxy, &listener, &window);
}

void Toplevels::Window::changed() const {
    ++all.allChanges;
    all.theirChanges += isTheirs ? 1 : 0;
}

void Toplevels::Window::named(const char* application) {
    changed();
    isTheirs = std::ranges::find(all.applications, application) != all.applications.end();
    changed();
}

void Toplevels::Window::entered(wl_output* output) {
    outputs.insert(output);
    changed();
}

void Toplevels::Window::left(wl_output* output) {
    outputs.erase(output);
    changed();
}

void Toplevels::Window::stated(wl_array* states) {
    const std::span all(static_cast<const std::uint32_t*>(states->data),
                        states->size / sizeof(std::uint32_t));
    const bool focused =
        std::ranges::find(all, ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED) != all.end();
    if (std::exchange(hasFocus, focused) != focused && isTheirs)
        changed();
}

void Toplevels::Window::closed() {
    changed();
    all.windows.remove_if([this](const Window& each) { return &each == this; });
}

bool Toplevels::any() const {
    return std::ranges::any_of(windows, &Window::isTheirs);
}

bool Toplevels::anyOn(wl_output* output) const {
    return std::ranges::any_of(windows, [&](const Window& each) {
        return each.isTheirs && each.outputs.contains(output);
    });
}

} // namespace platform::wayland
