// The page's server: HTTP for its three files, and a WebSocket for each page. One thread serves all of them.
#pragma once

#include <memory>
#include <string>

#include "cli/serve/access.h"
#include "cli/serve/live_run.h"

namespace cli {

class Server {
 public:
    // Listens from now on. A Problem where the address cannot be had, or the page is not built.
    explicit Server(const ListenAddress& address);
    ~Server();

    // Where a browser finds the page, with the token.
    std::string address() const;
    bool isLoopback() const;
    // Serves until `stop` is requested.
    void run(LiveRun& runs, const std::string& procedure, const libzepl::StopRequest& stop);

 private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace cli
