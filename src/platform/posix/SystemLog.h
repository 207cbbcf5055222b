// The system's log: syslog(3), which the journal reads.
#pragma once

#include "platform/UnifiedLog.h"

namespace lentora::posix {

class SystemLog final : public UnifiedLog {
public:
    void write(const LogRecord& record) override;
};

} // namespace lentora::posix
