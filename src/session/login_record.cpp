// The login record of this process and its exchange with the shared one.
#include <sys/shm.h>

#include <cstddef>
#include <cstdlib>

#include "core/text.h"
#include "session/shared_login.h"

// Programs of other makes read the record at these offsets.
static_assert(sizeof(orba_login_record) == 204);
static_assert(offsetof(orba_login_record, login_user) == 0);
static_assert(offsetof(orba_login_record, session_id) == 32);
static_assert(offsetof(orba_login_record, session_file) == 36);
static_assert(offsetof(orba_login_record, login_status) == 68);
static_assert(offsetof(orba_login_record, status_text) == 72);
static_assert(offsetof(orba_login_record, tail) == 200);

orba_login_record global_shared_stuff;

char glb_loginUser[32];
int glb_loginStatus = 0;
int session_id = 0;
char sessionFileName[32];
int exitOnIdleTimeout = 0;

namespace {

template <size_t N>
void terminate(char (&text)[N]) {
  text[N - 1] = '\0';
}

}  // namespace

void init_SharedMemoryVar(orba_login_record *record) {
  *record = {};
  orba::copyText(record->status_text, sizeof record->status_text, "Ready");
}

int init_SharedMemory(void) {
  orba::SharedLogin *shared = orba::attachSharedLogin(orba::kAtStart);
  if (shared == nullptr) return 1;
  // Without the lock: at the server's start there is nobody to wait for, and a
  // lock left in disorder by its predecessor must not hinder it.
  shared->publishing = 0;
  init_SharedMemoryVar(&shared->record);
  if (shmdt(shared) != 0) return 1;
  return orba::resetLoginSemaphore() ? 0 : 1;
}

int sync_globalVar_and_sharedMem(int direction) {
  constexpr int kPublish = 1;
  orba::SharedLogin *shared = orba::attachSharedLogin();
  if (shared == nullptr) return 1;
  int semaphore = orba::loginSemaphore();
  if (semaphore == -1) return 1;  // the segment stays attached, as it always has
  if (!orba::lockLogin(semaphore)) {
    shmdt(shared);
    return 1;
  }
  orba::undoBrokenReplace(*shared);
  if (direction == kPublish) {
    orba::replaceRecord(*shared, global_shared_stuff);
  } else {
    global_shared_stuff = shared->record;
    // Whoever wrote the record may have left a text without its end.
    terminate(global_shared_stuff.login_user);
    terminate(global_shared_stuff.session_file);
    terminate(global_shared_stuff.status_text);
  }
  orba::unlockLogin(semaphore);
  // A hard stop, unlike at the start: a process that cannot let go of the record
  // must not go on.
  if (shmdt(shared) != 0) exit(1);
  return 0;
}

int getLoginUser(char *dst) {
  sync_globalVar_and_sharedMem(0);
  orba::copyText(dst, sizeof global_shared_stuff.login_user, global_shared_stuff.login_user);
  return 1;
}
