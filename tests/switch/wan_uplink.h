// A router whose WAN gateway is 10.0.0.1 at 00:11:22:aa:bb:cc.
#ifndef ORBA_TESTS_SWITCH_WAN_UPLINK_H
#define ORBA_TESTS_SWITCH_WAN_UPLINK_H

#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/switch.h"

constexpr char kGateway[] = "001122aabbcc";
constexpr char kOther[] = "0a0b0c0d0e0f";

class WanUplinkDevice : public sim::Device {
 public:
  WanUplinkDevice() {
    file("/var/wan1.info", "10.0.0.1:eth2.2\n");
    answer("cat /var/wan1.info", "10.0.0.1\n");
    gatewayAnswers("? (10.0.0.1) at 00:11:22:aa:bb:cc [ether] on br0\n");
  }
  void gatewayAnswers(const std::string &arp) { answer("arp -an", arp); }

  sim::Switch &table = part<sim::Switch>();
};

#endif
