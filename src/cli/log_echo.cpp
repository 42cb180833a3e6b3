#include "cli/log_echo.h"

namespace tbt::cli {
namespace {

class EchoingServices : public HostServices {
 public:
  EchoingServices(HostServices& inner, std::ostream& echo) : inner_(inner), echo_(echo) {}

  int shell(const std::string& command) override { return inner_.shell(command); }
  void sleepMicroseconds(uint64_t microseconds) override { inner_.sleepMicroseconds(microseconds); }
  uint64_t nowMicroseconds() override { return inner_.nowMicroseconds(); }
  void log(std::string_view text) override {
    inner_.log(text);
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    echo_ << text << "\n";
  }
  void print(std::string_view text) override { inner_.print(text); }
  std::optional<PropertyDict> readPropertyList(const std::string& path) override {
    return inner_.readPropertyList(path);
  }
  std::optional<std::string> bootDiskName() override { return inner_.bootDiskName(); }

 private:
  HostServices& inner_;
  std::ostream& echo_;
};

class EchoingPlatform : public Platform {
 public:
  EchoingPlatform(std::unique_ptr<Platform> inner, std::ostream& echo)
      : inner_(std::move(inner)), services_(inner_->host(), echo) {}

  Registry& registry() override { return inner_->registry(); }
  ControllerDriver& controllerDriver() override { return inner_->controllerDriver(); }
  HostServices& host() override { return services_; }

 private:
  std::unique_ptr<Platform> inner_;
  EchoingServices services_;
};

}  // namespace

std::unique_ptr<Platform> echoingLog(std::unique_ptr<Platform> inner, std::ostream& echo) {
  return std::make_unique<EchoingPlatform>(std::move(inner), echo);
}

}  // namespace tbt::cli
