// The login record in shared memory, and the semaphore that guards it.
#ifndef ORBA_SESSION_SHARED_LOGIN_H
#define ORBA_SESSION_SHARED_LOGIN_H

#include "orba_util.h"

#pragma GCC visibility push(hidden)
namespace orba {

// The segment is 204 bytes long, the record. The kernel maps whole pages, and
// the library uses what follows in the same page to survive a process that is
// killed in the midst of a publish; a program that knows only the record is not
// disturbed by it.
struct SharedLogin {
  orba_login_record record;
  orba_login_record before;      // what `record` was before the present publish
  volatile uint32_t publishing;  // 1 while `record` may be half written
};
static_assert(sizeof(SharedLogin) <= 4096, "one page of the smallest size");

// At its start the server also replaces what somebody else has made under the key.
enum Moment { kAtStart, kLater };

// The segment, made when there is none or it is too short, at an address for shmdt;
// null when it cannot be had.
SharedLogin *attachSharedLogin(Moment moment = kLater);

// The semaphore set, made free when there is none; -1 when it cannot be had.
int loginSemaphore();
// The same for the server's start: free whatever it was.
bool resetLoginSemaphore();

// Waits for the record, a second at most. False when it is not to be had.
bool lockLogin(int semaphore);
void unlockLogin(int semaphore);

// With the lock held: replaces the record, and undoes what a process that was
// killed in replaceRecord has left.
void replaceRecord(SharedLogin &shared, const orba_login_record &record);
void undoBrokenReplace(SharedLogin &shared);

}  // namespace orba
#pragma GCC visibility pop

#endif
