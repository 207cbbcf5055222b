// The demo's script: what the hands do, and where pictures are taken.
#pragma once

#include "demo/Camera.h"
#include "demo/DemoDesktop.h"
#include "demo/Film.h"
#include "demo/Hands.h"

#include <string>

namespace lentora::demo {

class Tour {
public:
    /// The pictures go into the folder `folder`. `film` may be null; it begins with the tour.
    Tour(DemoDesktop& desktop, std::string folder, Film* film);

    /// Throws `Failure`, when a lens does not do what is shown of it as well, and `Interrupted`.
    void run();

private:
    void heldLens();
    void lockedLens();
    void retarget();
    void holdStill();
    void close();

    void awaitLens();
    void awaitNoLens();
    Picture awaitCalm() const;
    /// Says what the hands do next.
    void say(const std::string& what);
    /// Takes the picture `name` when nothing moves any more.
    void station(const std::string& name);

    DemoDesktop& desktop_;
    const std::string folder_;
    Film* const film_;
    const Camera camera_;
    Hands hands_;
    Picture bareDesktop_;
    std::string said_;
    int stations_ = 0;
};

} // namespace lentora::demo
