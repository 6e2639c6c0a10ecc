#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// The desktop's general pasteboard: what people copy and paste. Used on the main thread.
///
/// The contents belong to other programs, which may be slow or dead; no operation waits for one.
/// Without a desktop the pasteboard is empty and stays so.
class Pasteboard final {
public:
    Pasteboard();
    ~Pasteboard();
    Pasteboard(const Pasteboard&) = delete;
    Pasteboard& operator=(const Pasteboard&) = delete;

    /// A number that is another one after each change.
    std::int64_t changeCount() const;

    /// Asks for the type identifiers of the contents, as the desktop spells them; marks of private
    /// contents have the names of nspasteboard.org, whatever their spelling here. `done` is called
    /// once on the main queue, with none if their owner does not say, or if the contents are no
    /// longer those of `change`. A newer question of either kind replaces one under way.
    using TypesHandler = std::function<void(std::vector<std::string>)>;
    void types(std::int64_t change, const TypesHandler& done);

    /// Asks for the first `limit` bytes or a little more of the contents as plain text. `done` is
    /// called once on the main queue: with valid UTF-8, or with nothing if there is no text, it
    /// does not come, its owner was asked for the types and has not answered, or the contents are
    /// no longer those of `change`.
    using TextHandler = std::function<void(std::optional<std::string>)>;
    void string(std::int64_t change, std::size_t limit, const TextHandler& done);

    /// Clears the pasteboard and puts this plain text (UTF-8) there, in one step, so that nobody
    /// finds it empty in between. The change has counted when the call returns.
    void setString(const std::string& text);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace platform
