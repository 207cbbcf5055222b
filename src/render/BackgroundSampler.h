// Whether the desktop behind something is light or dark.
#pragma once

#include "platform/MainQueue.h"
#include "platform/Screenshots.h"
#include "platform/ShareableContent.h"
#include "support/Picture.h"
#include "support/Rect.h"
#include "support/Task.h"

#include <cstdint>

namespace lentora {

/// From 0 (black) to 1 (white), of the picture's average, which is rounded to 8 bits a channel; 1
/// for an empty picture. Any thread.
double averageLuminance(const Picture& picture);

/// Main thread. The services outlive every question.
class BackgroundSampler {
public:
    BackgroundSampler(ShareableContentSource& content, Screenshots& screenshots,
                      MainQueue& mainQueue)
        : content_(content), screenshots_(screenshots), mainQueue_(mainQueue) {}

    /// Whether what is behind `cgRect` (CG space) is light, by one small screenshot without the
    /// window `excluding`. Every failure counts as light. The object may be gone before the answer.
    Task<bool> backgroundIsLight(Rect cgRect, std::uint32_t excluding) const {
        return backgroundIsLight(content_, screenshots_, mainQueue_, cgRect, excluding);
    }

private:
    static Task<bool> backgroundIsLight(ShareableContentSource& content, Screenshots& screenshots,
                                        MainQueue& mainQueue, Rect cgRect, std::uint32_t excluding);

    ShareableContentSource& content_;
    Screenshots& screenshots_;
    MainQueue& mainQueue_;
};

} // namespace lentora
