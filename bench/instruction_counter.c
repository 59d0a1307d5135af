/* A plugin of qemu's: how many instructions the emulated program ran, on
 * standard error at its end. Debian has no header for plugins; what is used of
 * their interface (version 1) is declared here. */
#include <inttypes.h>
#include <stdio.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
struct qemu_info_t;

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t,
                                                              struct qemu_plugin_tb *));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, int operation,
                                              void *counter, uint64_t amount);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*ending)(qemu_plugin_id_t, void *),
                                    void *data);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

enum { kAdd = 0 };

static uint64_t instructions;

static void onTranslated(qemu_plugin_id_t id, struct qemu_plugin_tb *block) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(block, kAdd, &instructions,
                                           qemu_plugin_tb_n_insns(block));
}

static void onEnd(qemu_plugin_id_t id, void *data) {
  (void)id, (void)data;
  fprintf(stderr, "instructions %" PRIu64 "\n", instructions);
}

__attribute__((visibility("default"))) int qemu_plugin_install(qemu_plugin_id_t id,
                                                               const struct qemu_info_t *info,
                                                               int argc, char **argv) {
  (void)info, (void)argc, (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, onTranslated);
  qemu_plugin_register_atexit_cb(id, onEnd, NULL);
  return 0;
}
