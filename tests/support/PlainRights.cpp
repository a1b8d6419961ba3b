#include "support/PlainRights.h"

#include <cerrno>
#include <cstring>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr unsigned Overrides =
    (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH) | (1u << CAP_FOWNER);

bool setOverrides(bool on)
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    if (::syscall(SYS_capget, &header, data) != 0) {
        return false;
    }
    if (on) {
        data[0].effective |= Overrides & data[0].permitted;
    } else {
        data[0].effective &= ~Overrides;
    }
    return ::syscall(SYS_capset, &header, data) == 0;
}

} // namespace

PlainRights::PlainRights()
{
    if (::geteuid() != 0) {
        mActive = true;
        return;
    }
    if (!setOverrides(false)) {
        mSkipReason = QStringLiteral("root's right to write read-only files could not be given "
                                     "up: %1")
                          .arg(QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    mDropped = true;
    mActive = true;
}

PlainRights::~PlainRights()
{
    if (mDropped) {
        setOverrides(true);
    }
}
