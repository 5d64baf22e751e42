#include "RunLock.h"

#include "Places.h"
#include "Report.h"
#include "Status.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

RunLock::RunLock(const Patience& patience)
    // Without O_CLOEXEC: what is started inherits it.
    : file(OrFail(Status::NoBackup, "no lock could be made", [] {
          return Checked(open(LOCKFILE.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW, 0600), LOCKFILE);
      })) {
    bool isFirst = true;
    while (flock(file.Get(), LOCK_EX | LOCK_NB) == -1) {
        const bool isHeld = errno == EWOULDBLOCK;
        if (isHeld && isFirst) {
            Log("waiting for another run");
            isFirst = false;
        }
        if (!isHeld || !patience.Wait()) {
            throw Failure(isHeld ? Status::AnotherRun : Status::NoBackup,
                          isHeld ? "another run holds the lock" : "no lock could be made");
        }
    }
}
