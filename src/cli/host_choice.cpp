#include "cli/host_choice.h"

#include <cstdlib>
#include <string_view>

#include "linux/linux_platform.h"
#include "platform/text.h"
#include "sim/sim_host.h"
#include "sim/sim_platform.h"

namespace tbt::cli {
namespace {

constexpr std::string_view kHostOption = "--host";
constexpr std::string_view kSimValue = "sim";
constexpr std::string_view kSimFilePrefix = "sim:";
constexpr std::string_view kLinuxValue = "linux";
constexpr std::string_view kLinuxRootPrefix = "linux:";
constexpr const char* kHostForms = "\"sim\", \"sim:FILE\", \"linux\" or \"linux:ROOT\"";

// Parses a host value: "sim", "sim:FILE", "linux" or "linux:ROOT"; error
// receives a one-line reason for anything else.
std::optional<HostRequest> parseHostValue(std::string_view value, std::string* error) {
  HostRequest request;
  if (value == kSimValue) {
    request.kind = HostRequest::Kind::SimDefault;
    return request;
  }
  if (value.substr(0, kSimFilePrefix.size()) == kSimFilePrefix && value.size() > kSimFilePrefix.size()) {
    request.kind = HostRequest::Kind::SimFile;
    request.file = value.substr(kSimFilePrefix.size());
    return request;
  }
  if (value == kLinuxValue) {
    request.kind = HostRequest::Kind::Linux;
    return request;
  }
  if (value.substr(0, kLinuxRootPrefix.size()) == kLinuxRootPrefix && value.size() > kLinuxRootPrefix.size()) {
    request.kind = HostRequest::Kind::Linux;
    request.file = value.substr(kLinuxRootPrefix.size());
    return request;
  }
  if (error)
    *error = textf("invalid host '%.*s': expected %s", static_cast<int>(value.size()), value.data(), kHostForms);
  return std::nullopt;
}

// Loads the platform a request names; error receives one line when it cannot.
std::optional<ChosenHost> loadHost(const HostRequest& request, std::string* error) {
  std::string reason;
  std::unique_ptr<sim::SimPlatform> simulated;
  switch (request.kind) {
    case HostRequest::Kind::Native:
      if (linux_host::hasThunderboltBus("")) return loadHost(HostRequest{HostRequest::Kind::Linux, ""}, error);
      if (error)
        *error = "no native host found (no /sys/bus/thunderbolt); choose a simulated host with "
                 "--host=sim or --host=sim:FILE (or TBT_HOST)";
      return std::nullopt;
    case HostRequest::Kind::Linux: {
      auto real = linux_host::openLinuxHost(request.file, &reason);
      if (!real) {
        if (error) *error = reason;
        return std::nullopt;
      }
      ChosenHost chosen;
      chosen.platform = std::move(real);
      return chosen;
    }
    case HostRequest::Kind::SimDefault: simulated = sim::loadDefaultHost(&reason); break;
    case HostRequest::Kind::SimFile: simulated = sim::loadHostFile(request.file, &reason); break;
  }
  if (!simulated) {
    if (error) *error = reason;
    return std::nullopt;
  }
  ChosenHost chosen;
  chosen.sim = &simulated->sim();
  // A program only reports the totals; counts by address would grow with
  // every register a report walks.
  chosen.sim->setAddressCountsEnabled(false);
  chosen.platform = std::move(simulated);
  return chosen;
}

}  // namespace

std::optional<HostRequest> takeHostRequest(std::vector<char*>& args, const char* environment, std::string* error) {
  std::optional<std::string> value;
  std::vector<char*> kept;
  size_t i = 0;
  if (!args.empty()) kept.push_back(args[i++]);  // the program's own path
  for (; i < args.size(); ++i) {
    std::string_view arg = args[i];
    if (arg == "--") break;  // operands from here on
    if (arg == kHostOption) {
      if (i + 1 == args.size()) {
        if (error) *error = textf("--host needs a value: %s", kHostForms);
        return std::nullopt;
      }
      value = args[++i];
    } else if (arg.size() > kHostOption.size() && arg.substr(0, kHostOption.size()) == kHostOption &&
               arg[kHostOption.size()] == '=') {
      value = std::string(arg.substr(kHostOption.size() + 1));
    } else {
      kept.push_back(args[i]);
    }
  }
  kept.insert(kept.end(), args.begin() + static_cast<std::ptrdiff_t>(i), args.end());
  args = std::move(kept);
  const char* source = "--host";
  if (!value && environment && *environment) {
    value = environment;
    source = kHostEnvironmentVariable;
  }
  if (!value) return HostRequest{};
  std::string reason;
  auto request = parseHostValue(*value, &reason);
  if (!request && error) *error = textf("%s: %s", source, reason.c_str());
  return request;
}

std::optional<ChosenHost> chooseHost(std::vector<char*>& args, std::string* error) {
  auto request = takeHostRequest(args, std::getenv(kHostEnvironmentVariable), error);
  if (!request) return std::nullopt;
  return loadHost(*request, error);
}

std::optional<ChosenHost> loadHostValue(std::string_view value, std::string* error) {
  std::optional<HostRequest> request = parseHostValue(value, nullptr);
  // Anything else is a host file's path; a bare "linux" is this machine's own bus.
  if (!request) request = HostRequest{HostRequest::Kind::SimFile, std::string(value)};
  return loadHost(*request, error);
}

std::string hardwareTimeText(const sim::SimHost& machine) {
  return textf("simulated hardware time: %.6f s, %llu configuration accesses\n",
               static_cast<double>(machine.hardwareTimeMicroseconds()) / 1e6,
               static_cast<unsigned long long>(machine.configAccessCount()));
}

}  // namespace tbt::cli
