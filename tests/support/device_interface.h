#pragma once
// The device interface a platform's driver hands out for one of its
// controllers (in registry order), as the programs open it.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "platform/platform.h"
#include "platform/registry_helpers.h"

namespace tbt::test {

/// The interface of the given version; nullptr when the controller offers none.
inline std::unique_ptr<DeviceInterface> deviceOf(Platform& p, size_t controller = 0,
                                                 uint32_t version = kDeviceInterfaceV2) {
  std::unique_ptr<ControllerPlugIn> plugIn;
  EXPECT_EQ(p.controllerDriver().createPlugIn(p.registry().matching(kControllerClass).at(controller), plugIn),
            status::kSuccess);
  return plugIn ? plugIn->queryInterface(version) : nullptr;
}

}  // namespace tbt::test
