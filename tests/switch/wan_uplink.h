// A router whose WAN gateway is 10.0.0.1 at 00:11:22:aa:bb:cc.
#ifndef ORBA_TESTS_SWITCH_WAN_UPLINK_H
#define ORBA_TESTS_SWITCH_WAN_UPLINK_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/switch.h"

constexpr char kGateway[] = "001122aabbcc";
constexpr char kOther[] = "0a0b0c0d0e0f";

class WanUplink : public testing::Test {
 protected:
  WanUplink() : table_(device_.part<sim::Switch>()) {
    device_.file("/var/wan1.info", "10.0.0.1:eth2.2\n");
    device_.answer("cat /var/wan1.info", "10.0.0.1\n");
    gatewayAnswers("? (10.0.0.1) at 00:11:22:aa:bb:cc [ether] on br0\n");
  }
  void gatewayAnswers(const std::string &arp) { device_.answer("arp -an", arp); }

  sim::Device device_;
  sim::Switch &table_;
};

#endif
