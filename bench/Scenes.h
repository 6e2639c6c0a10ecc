#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Desktops in motion, to measure with and to look at.
namespace bench {

enum class SceneKind {
    still,
    typing,    ///< A letter a step.
    scrolling, ///< Three lines in the thirtieth of a second.
    wheel,     ///< Scrolling that gathers way, slows down and turns round.
    window,    ///< One is dragged about.
    opening,   ///< A window of text opens, and closes with the next step.
    page,      ///< A page of text turns into another one.
    whole,     ///< The whole screen changes: text, a plain colour, a photograph.
    video,
};

/// By its name above.
std::optional<SceneKind> sceneKind(std::string_view name);

/// Where a scene shows the number of its step: a row of black and white squares, the lowest bit
/// first, in the top left corner of the screen.
constexpr int markerSquare = 16;
constexpr int markerBits = 16;

/// Draws one kind of content on an X server, step by step.
class Scene {
public:
    /// Scrolling is as fast with more steps a second as with 30. Throws std::runtime_error if the
    /// server can't be reached.
    Scene(const std::string& display, SceneKind kind, int stepsPerSecond = 30);
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
