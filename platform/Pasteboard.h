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
/// The contents belong to other programs, which may be slow or hang; no operation waits for one. A
/// question to a program that does not answer stays open until the contents change.
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
    /// once on the main queue, with none if their owner refuses to say, or if the contents are no
    /// longer those of `change`. A newer question of either kind replaces one under way.
    using TypesHandler = std::function<void(std::vector<std::string>)>;
    void types(std::int64_t change, const TypesHandler& done);

    /// Asks for the first `limit` bytes of the contents as plain text, and perhaps a little more,
    /// of which the last character may be broken. `done` is called once on the main queue: with
    /// valid UTF-8, or with nullopt if there is no text, or if the contents are no longer those of
    /// `change`.
    using TextHandler = std::function<void(std::optional<std::string>)>;
    void string(std::int64_t change, std::size_t limit, const TextHandler& done);

    /// Clears the pasteboard and puts this plain text (UTF-8) there, in one step, so that nobody
    /// finds it empty in between. The change has counted when the call returns; others find the
    /// text there a moment later. Where a clipboard manager runs, the text outlives the process.
    void setString(const std::string& text);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace platform
