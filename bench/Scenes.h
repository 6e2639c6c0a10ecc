#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Desktops in motion, to measure with and to look at.
namespace bench {

enum class SceneKind { still, typing, scrolling, window, video };

/// "still", "typing", "scrolling", "window", "video".
std::optional<SceneKind> sceneKind(std::string_view name);

/// Where a scene shows the number of its step: a row of black and white squares, the lowest bit
/// first, in the top left corner of the screen.
constexpr int markerSquare = 16;
constexpr int markerBits = 16;

/// Draws one kind of content on an X server, step by step.
class Scene {
public:
    /// Throws std::runtime_error if the server can't be reached.
    Scene(const std::string& display, SceneKind kind);
    ~Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// Draws the content and the marker of a step; both are on the screen when it returns.
    void step(std::uint16_t number);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace bench
