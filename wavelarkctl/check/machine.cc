#include "wavelarkctl/check/machine.h"

#include <grp.h>
#include <net/if.h>
#include <pwd.h>
#include <sys/timex.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "platform/netlink/netlink_kernel.h"
#include "platform/netlink/netlink_manager.h"

namespace orvane::wavelarkctl {
namespace {

using platform::FilePath;

constexpr unsigned kSearch = 1;

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, Closer>;

bool HasNl80211() {
  platform::NetlinkKernel kernel;
  return platform::NetlinkManager(kernel).GetFamily("nl80211") != 0;
}

bool IsClockSynchronized() {
  timex clock = {};
  return adjtimex(&clock) != TIME_ERROR && (clock.status & STA_UNSYNC) == 0;
}

std::string InterfaceName(unsigned index) {
  std::array<char, IFNAMSIZ> name = {};
  return if_indextoname(index, name.data()) == nullptr ? "" : name.data();
}

bool MayAccess(const Account& account, const struct stat& status, unsigned access) {
  if (account.uid == 0) return true;
  unsigned shift = 0;  // others
  if (status.st_uid == account.uid) {
    shift = 6;
  } else if (std::ranges::find(account.groups, status.st_gid) != account.groups.end()) {
    shift = 3;
  }
  return (status.st_mode >> shift & access) == access;
}

}  // namespace

Machine::Machine()
    : interface_index([](const std::string& name) { return if_nametoindex(name.c_str()); }),
      interface_name(InterfaceName),
      has_nl80211(HasNl80211),
      is_clock_synchronized(IsClockSynchronized),
      unit([](BusProbe& bus) { return bus.FindUnit("ap-wavelark.service"); }),
      is_root_user(geteuid() == 0) {}

BusProbe& Machine::bus() {
  if (bus_ == nullptr) bus_ = std::make_unique<BusProbe>();
  return *bus_;
}

FilePath Machine::At(std::string_view path) const { return root / FilePath(path).relative_path(); }

PathState Machine::Look(std::string_view path) const {
  PathState state;
  if (stat(At(path).c_str(), &state.status) != 0) state.error = errno;
  return state;
}

std::vector<std::string> Machine::ListConfigurations(std::string_view directory) const {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entry(At(directory), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().native();
    if (name.ends_with(".conf")) names.push_back(std::string(directory) + "/" + name);
  }
  std::ranges::sort(names);
  return names;
}

std::optional<Account> Machine::FindAccount(const std::string& name) const {
  const FilePtr users(std::fopen(At("/etc/passwd").c_str(), "re"));
  std::optional<Account> account;
  while (users != nullptr && !account) {
    const passwd* user = fgetpwent(users.get());
    if (user == nullptr) break;
    if (name == user->pw_name) account = Account{user->pw_uid, {user->pw_gid}};
  }
  const FilePtr groups(std::fopen(At("/etc/group").c_str(), "re"));
  while (groups != nullptr && account) {
    const group* entry = fgetgrent(groups.get());
    if (entry == nullptr) break;
    for (char** member = entry->gr_mem; *member != nullptr; ++member) {
      if (name == *member) account->groups.push_back(entry->gr_gid);
    }
  }
  return account;
}

std::string Machine::GroupName(gid_t gid) const {
  const FilePtr groups(std::fopen(At("/etc/group").c_str(), "re"));
  while (groups != nullptr) {
    const group* entry = fgetgrent(groups.get());
    if (entry == nullptr) break;
    if (entry->gr_gid == gid) return entry->gr_name;
  }
  return std::to_string(gid);
}

std::string Machine::FindObstacle(const Account& account, std::string_view path,
                                  unsigned access) const {
  FilePath above = "/";
  for (const FilePath& part : FilePath(path).parent_path().relative_path()) {
    above /= part;
    const PathState state = Look(above.native());
    if (!state.IsThere() || !MayAccess(account, state.status, kSearch)) return above;
  }
  const PathState state = Look(path);
  if (state.IsThere() && MayAccess(account, state.status, access)) return "";
  return std::string(path);
}

}  // namespace orvane::wavelarkctl
