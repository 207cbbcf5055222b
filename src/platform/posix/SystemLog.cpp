#include "platform/posix/SystemLog.h"

#include <syslog.h>

namespace lentora::posix {

void SystemLog::write(const LogRecord& record) {
    ::syslog(LOG_USER | LOG_INFO, "%s", record.line.c_str());
}

} // namespace lentora::posix
