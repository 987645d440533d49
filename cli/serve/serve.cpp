#include "cli/serve/serve.h"

#include <cstdio>
#include <filesystem>

#include "cli/serve/server.h"
#include "cli/signals.h"
#include "cli/standard_streams.h"

namespace cli {

int serve(const ServeArguments& arguments) {
    const std::shared_ptr<libzepl::StopRequest> stop = catchSignals();
    libzepl::CommandLibrary library;
    loadModules(library, arguments.run.modules);
    Server server(listenAddressOf(arguments.listen));
    print(server.address() + "\n");
    flush();
    if (!server.isLoopback())
        std::fputs(
            "note: other computers reach this address; the token in it is all that keeps them out, and goes in clear\n",
            stderr);
    LiveRun runs(arguments.run, library, stop);
    server.run(runs, std::filesystem::path(arguments.run.procedure).filename().string(), *stop);
    return statusOfSignal();
}

}  // namespace cli
