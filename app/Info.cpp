#include "app/Info.h"

#include "app/host/Displays.h"
#include "app/host/HostChannel.h"
#include "app/host/HostWatch.h"
#include "platform/Permissions.h"

#include <nlohmann/json.hpp>

namespace orvel {

void info() {
    const HostWatch watch;
    const nlohmann::json object{{"screen", platform::preflightScreenCaptureAccess()},
                                {"input", platform::preflightPostEventAccess()},
                                {"displays", displaysJSON(activeDisplays())}};
    writeToHost(serialized(object));
}

} // namespace orvel
