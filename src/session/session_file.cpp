// Begin and end of a login session, and the file that stands for it.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/file.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

// A field of the record as a terminated text, whatever the server or another
// process has put there.
template <size_t N>
class RecordText : public Text<N> {
 public:
  explicit RecordText(const char (&field)[N]) { this->append(field, strnlen(field, N - 1)); }
};

constexpr char kSessionFile[] = "/var/SESS_";

// Every program of the device can write the record, and this one may be root's:
// a path of another form than writeSessionFile's is nobody's session file.
bool isSessionFile(const char *path) {
  constexpr size_t kLength = sizeof kSessionFile - 1;
  if (strncmp(path, kSessionFile, kLength) != 0) return false;
  const char *id = path + kLength;
  return *id != '\0' && id[strspn(id, "0123456789")] == '\0';
}

void deleteSessionFile(const orba_login_record &login) {
  RecordText path(login.session_file);
  if (isSessionFile(path.text())) unlink(path.text());
}

// The file's name tells the id, and the id its seed: what the process draws later
// must not follow from it.
void seedFromKernel() {
  unsigned seed;
  // Not getrandom, which older kernels do not have.
  Descriptor source(open("/dev/urandom", O_RDONLY | O_CLOEXEC));
  if (read(source.get(), &seed, sizeof seed) == sizeof seed) srand(seed);
}

int drawSessionId() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  srand(static_cast<unsigned>(now.tv_nsec));
  int id = rand();
  seedFromKernel();
  return id;
}

}  // namespace

}  // namespace orba

int writeSessionFile(const char *text) {
  orba_login_record &login = global_shared_stuff;
  login.session_id = orba::drawSessionId();
  orba::deleteSessionFile(login);
  snprintf(login.session_file, sizeof login.session_file, "%s%d", orba::kSessionFile,
           login.session_id);
  // What is there was left behind, or is somebody's link: the file is always a new one.
  orba::deleteSessionFile(login);
  // A login must not be lost with its file.
  orba::File file(login.session_file, "wx");
  if (file) {
    orba::RecordText user(login.login_user);
    fprintf(file.get(), "%s %d %s", user.text(), login.login_status, text);
    file.close();
  }
  return sync_globalVar_and_sharedMem(1);
}

orba_login_record *tuLogout(void) {
  orba_login_record &login = global_shared_stuff;
  orba::deleteSessionFile(login);
  // The file's name stays, so a second logout deletes it once more; and the other
  // processes hear of this only when the caller publishes.
  login.session_id = 0;
  memset(login.login_user, 0, sizeof login.login_user);
  login.login_status = 0;
  return &login;
}
