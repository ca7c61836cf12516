/// What a program may find around it: to be called in its process just before it takes over.
#pragma once

#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace testing_support {

/// The exit status of a run whose surroundings this system does not allow.
inline constexpr int not_allowed_here = 125;

/// From the next program on, root too needs the permission of a file to use it.
inline void obey_permissions() {
  for (const int privilege : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
    if (geteuid() == 0 && prctl(PR_CAPBSET_DROP, privilege) != 0) {
      _exit(not_allowed_here);
    }
  }
}

}  // namespace testing_support
