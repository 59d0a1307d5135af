// The registers of the Ethernet switch, reached through the driver of eth2.
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "core/text.h"
#include "orba_util.h"

int esw_fd = -1;

namespace orba {

namespace {

// As the driver reads and fills it in.
struct RegisterRequest {
  uint32_t phy;
  uint32_t number;
  uint32_t to_write;
  uint32_t was_read;
};
static_assert(sizeof(RegisterRequest) == 16);
static_assert(offsetof(RegisterRequest, phy) == 0);
static_assert(offsetof(RegisterRequest, number) == 4);
static_assert(offsetof(RegisterRequest, to_write) == 8);
static_assert(offsetof(RegisterRequest, was_read) == 12);

constexpr unsigned long kRead = 0x89F3;
constexpr unsigned long kWrite = 0x89F4;
constexpr uint32_t kManagementAddress = 31;

// The switch cannot be run blindly: who cannot reach it ends here.
void request(unsigned long number, RegisterRequest &content) {
  ifreq request{};
  copyText(request.ifr_name, sizeof request.ifr_name, "eth2");
  request.ifr_data = reinterpret_cast<char *>(&content);
  if (ioctl(esw_fd, number, &request) >= 0) return;
  perror("ioctl");
  close(esw_fd);
  exit(0);
}

}  // namespace

}  // namespace orba

int switch_init(void) {
  esw_fd = socket(AF_INET, SOCK_DGRAM, 0);
  if (esw_fd < 0) {
    perror("socket");
    exit(0);
  }
  return 0;
}

int switch_fini(void) {
  close(esw_fd);
  return 0;
}

int reg_read(int reg, uint32_t *value) {
  orba::RegisterRequest content{orba::kManagementAddress, static_cast<uint32_t>(reg), 0, 0};
  orba::request(orba::kRead, content);
  *value = content.was_read;
  return 0;
}

int reg_write(int reg, uint32_t value) {
  orba::RegisterRequest content{orba::kManagementAddress, static_cast<uint32_t>(reg), value, 0};
  orba::request(orba::kWrite, content);
  return 0;
}
