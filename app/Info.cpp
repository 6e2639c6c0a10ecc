#include "app/Info.h"

#include "app/host/Displays.h"
#include "app/host/HostChannel.h"
#include "platform/Permissions.h"

#include <nlohmann/json.hpp>

namespace orvel {

void info() {
    const nlohmann::json object{{"screen", platform::preflightScreenCaptureAccess()},
                                {"input", platform::preflightPostEventAccess()},
                                {"displays", displaysJSON(activeDisplays())}};
    writeToHost(serialized(object));
}

} // namespace orvel
