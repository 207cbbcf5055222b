// Other programs that create, change and destroy windows as fast as they can, below a stream.
#include "desktop/CaptureFixture.h"

#include <xcb/res.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

namespace lentora::test {
namespace {

// LENTORA_STORM_OPERATIONS=100000 is the long form; scripts/storm runs it.
int operationCount() {
    const char* text = std::getenv("LENTORA_STORM_OPERATIONS");
    return text != nullptr ? std::atoi(text) : 6000;
}

/// Does one thing after the other, without looking at what becomes of it.
class Rioter {
public:
    Rioter(const PaintingProgram& program, unsigned seed) : program_(program), random_(seed) {}

    void act() {
        if (windows_.empty() || (windows_.size() < 25 && chance(20)))
            return create();
        const std::size_t at = static_cast<std::size_t>(number(0, 1000)) % windows_.size();
        const PaintedWindow& window = *windows_[at];
        switch (number(0, 11)) {
        case 0:
        case 1:
            window.destroy();
            freeIds_.push_back(window.id());
            windows_.erase(windows_.begin() + static_cast<std::ptrdiff_t>(at));
            return;
        case 2:
        case 3:
            return window.moveTo(number(-300, 1000), number(-300, 800));
        case 4:
        case 5:
            return window.resize(number(1, 700), number(1, 500));
        case 6:
            return chance(50) ? window.raise() : window.lower();
        case 7:
            return chance(50) ? window.map() : window.unmap();
        case 8:
            return window.setOpacity(number(0, 4) / 4.0);
        case 9:
            return window.cutTo({number(0, 50), number(0, 50), number(1, 200), number(1, 200)});
        default:
            return window.paint({number(0, 100), number(0, 100), 50, 50}, 0xFF123456);
        }
    }

    void destroyAll() {
        for (const auto& window : windows_)
            window->destroy();
        windows_.clear();
        program_.finish();
    }

private:
    int number(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
    bool chance(int percent) { return number(1, 100) <= percent; }

    void create() {
        PaintedWindow::Look look{
            .frame = {number(-300, 1000), number(-300, 800), number(1, 700), number(1, 500)},
            .colour = 0x80402010,
            .hasAlpha = chance(40),
            .border = number(0, 3)};
        // A program may use a number again at once.
        if (!freeIds_.empty() && chance(60)) {
            look.id = freeIds_.back();
            freeIds_.pop_back();
        }
        windows_.push_back(std::make_unique<PaintedWindow>(program_, look));
    }

    const PaintingProgram& program_;
    std::mt19937 random_;
    std::vector<std::unique_ptr<PaintedWindow>> windows_;
    std::vector<xcb_window_t> freeIds_;
};

class X11CaptureStorm : public CaptureFixture {
protected:
    /// How many resources of each kind the client has that this one belongs to.
    std::map<std::string, unsigned> resourcesOf(xcb_pixmap_t resource) const {
        xcb_connection_t* c = program->get();
        const x11::XcbPtr<xcb_res_query_client_resources_reply_t> reply(
            xcb_res_query_client_resources_reply(c, xcb_res_query_client_resources(c, resource),
                                                 nullptr));
        std::map<std::string, unsigned> counts;
        if (!reply)
            return counts;
        const auto* types = xcb_res_query_client_resources_types(reply.get());
        for (int i = 0; i < xcb_res_query_client_resources_types_length(reply.get()); ++i) {
            const x11::XcbPtr<xcb_get_atom_name_reply_t> name(
                xcb_get_atom_name_reply(c, xcb_get_atom_name(c, types[i].resource_type), nullptr));
            counts[std::string(xcb_get_atom_name_name(name.get()),
                               static_cast<std::size_t>(
                                   xcb_get_atom_name_name_length(name.get())))] = types[i].count;
        }
        return counts;
    }
};

TEST_F(X11CaptureStorm, NothingIsLeftBehind) {
    configuration.minimumFrameInterval = 1.0 / 60;
    configuration.queueDepth = 3;
    const auto target = window({100, 100, 640, 480}, 0xCC2211);
    start({100, 100, 640, 480});
    // All pixmaps that the stream may have are there when resources are counted first.
    std::deque<SurfacePtr> held;
    for (int i = 0; i < configuration.queueDepth; ++i) {
        target.paint({0, 0, 10, 10}, static_cast<Colour>(i + 1));
        held.push_back(awaitColour(5, 5, static_cast<Colour>(i + 1)));
        ASSERT_TRUE(held.back());
    }
    const xcb_pixmap_t ofStream = held.front()->pixmap();
    held.pop_front();
    frames->untilQuiet();
    const auto before = resourcesOf(ofStream);
    ASSERT_GE(before.at("PIXMAP"), 3U);

    Rioter first(*program, 1);
    Rioter second(*other, 2);
    int seen = 0;
    for (int i = 0; i < operationCount(); ++i) {
        first.act();
        second.act();
        if (i % 100 == 99)
            other->finish();
        while (SurfacePtr frame = frames->next(Milliseconds(0))) {
            ++seen;
            held.push_back(std::move(frame));
            if (held.size() > static_cast<std::size_t>(i / 1000 % 3))
                held.clear();
        }
    }
    first.destroyAll();
    second.destroyAll();
    held.clear();
    EXPECT_GT(seen, 3);

    // It still works, and shows what is there now.
    target.raise();
    target.paint({0, 0, 640, 480}, 0x11AA77);
    awaitColour(639, 479, 0x11AA77);
    const auto limit = std::chrono::steady_clock::now() + capturePatience;
    while (resourcesOf(ofStream) != before && std::chrono::steady_clock::now() < limit)
        frames->untilQuiet();
    EXPECT_EQ(resourcesOf(ofStream), before);
}

} // namespace
} // namespace lentora::test
