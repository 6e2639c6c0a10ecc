#pragma once

#include "support/Process.h"

#include <string>
#include <vector>

namespace test {

/// The program, streaming from an X server, with this test in the place of the phone.
class Phone {
public:
    /// Starts `program` and the session, and gives the phone priority over people at the machine:
    /// a fresh X server looks as if it had just been used.
    Phone(const std::string& program, const std::string& display,
          const std::vector<std::string>& options = {});

    void send(const nlohmann::json& message) { process.line(message.dump()); }
    void type(const std::string& text) { send({{"t", "text"}, {"s", text}}); }
    void press(const std::string& key, const std::vector<std::string>& mods = {}) {
        send({{"t", "press"}, {"k", key}, {"mods", mods}});
    }
    /// Closes the program's input and waits for its end.
    void hangUp();

    Process process;
    nlohmann::json announcement;
};

} // namespace test
