#include "server/privileges.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tavn::server {
namespace {

// The user's entry, or false.
bool find_user(const std::string& name, passwd* out, std::vector<char>* buffer) {
  buffer->assign(16384, '\0');
  passwd* found = nullptr;
  return getpwnam_r(name.c_str(), out, buffer->data(), buffer->size(), &found) == 0 &&
         found != nullptr;
}

}  // namespace

std::string check_run_as(const std::string& user, bool allow_root) {
  if (geteuid() == 0) {
    if (user.empty() && !allow_root) {
      return "refusing to run as root: name an unprivileged user with --user NAME "
             "(or pass --allow-root)";
    }
    return "";
  }
  if (user.empty()) return "";
  passwd pw{};
  std::vector<char> buffer;
  if (find_user(user, &pw, &buffer) && pw.pw_uid == geteuid()) return "";
  return "--user " + user + " needs tavnd to be started as root";
}

std::string drop_privileges(const std::string& user, const std::vector<std::string>& unix_paths) {
  if (user.empty() || geteuid() != 0) return "";
  passwd pw{};
  std::vector<char> buffer;
  if (!find_user(user, &pw, &buffer)) return "--user " + user + ": no such user";
  if (pw.pw_uid == 0) return "--user " + user + " is root";
  for (const std::string& path : unix_paths) {
    if (chown(path.c_str(), pw.pw_uid, pw.pw_gid) != 0)
      return "cannot give " + path + " to " + user + ": " + std::strerror(errno);
  }
  if (initgroups(pw.pw_name, pw.pw_gid) != 0 || setgid(pw.pw_gid) != 0 || setuid(pw.pw_uid) != 0) {
    return "cannot become " + user + ": " + std::strerror(errno);
  }
  if (setuid(0) == 0) return "could become root again after switching to " + user;
  return "";
}

}  // namespace tavn::server
