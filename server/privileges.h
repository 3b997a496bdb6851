// Who tavnd runs as.  Started as root it binds first, then becomes --user;
// it refuses to stay root unless --allow-root says so.
//
// Process-wide effects; call from the main thread before any other starts.
#ifndef TAVN_SERVER_PRIVILEGES_H_
#define TAVN_SERVER_PRIVILEGES_H_

#include <string>
#include <vector>

namespace tavn::server {

// Before binding: "" when the process may go on; otherwise the message for
// a bad option (exit status 2): root with neither `user` nor `allow_root`,
// or `user` given to a process that is not root and is not that user.
std::string check_run_as(const std::string& user, bool allow_root);

// After binding, as root with `user` set: gives the Unix socket files to
// `user`, then takes its groups, group and user id for good.  Not root, or
// no `user`: does nothing.  "" or a message naming what failed.
std::string drop_privileges(const std::string& user, const std::vector<std::string>& unix_paths);

}  // namespace tavn::server

#endif  // TAVN_SERVER_PRIVILEGES_H_
