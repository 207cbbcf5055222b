// How the program starts: what it says and logs, in what session, and on what server.
#include "desktop/LensProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <utility>

namespace lentora::test {
namespace {

using testdesktop::Key;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class LensStart : public LensProgram {
protected:
    void SetUp() override {
        LensProgram::SetUp();
        window = showPicture(*painter, picture, part.x, part.y);
        hands().movePointer(450, 210);
    }

    void expectLens() {
        hands().press(Key::AltL);
        hands().pinch({1.0, 1.1});
        EXPECT_TRUE(showsLens(part, picture, 450, 210, std::exp(0.12)));
        hands().release(Key::AltL);
    }

    // The log is complete then.
    void end() {
        ::kill(program->pid(), SIGTERM);
        EXPECT_EQ(program->wait(), 0);
    }

    const PixelRect part{300, 100, 401, 301};
    const Picture picture = noise(part.width, part.height);
    std::unique_ptr<PaintedWindow> window;
};

// As nohup does.
TEST_F(LensStart, OutlivesATerminalWhereItIsToldTo) {
    const auto before = std::signal(SIGHUP, SIG_IGN);
    launch();
    std::signal(SIGHUP, before);
    ::kill(program->pid(), SIGHUP);
    expectLens();
    end();
}

TEST_F(LensStart, LogsWithWhatAndWhatItMayDo) {
    launch();
    EXPECT_THAT(program->output(),
                HasSubstr(" runs on " + desktop->displayName() + ". Hold Alt and spread"));
    end();
    EXPECT_THAT(log(), AllOf(HasSubstr("[app] active backend: "),
                             HasSubstr("[perm] ScreenRecording=true  Accessibility=true  "
                                       "InputMonitoring=true\n"),
                             Not(HasSubstr("-> grant"))));
}

TEST_F(LensStart, InAWaylandSessionItSaysWhatWorksAndGoesOnWhereAnXServerAnswers) {
    for (const auto& sign : {std::pair<std::string, std::string>("WAYLAND_DISPLAY", "wayland-0"),
                             std::pair<std::string, std::string>("XDG_SESSION_TYPE", "wayland")}) {
        const auto before = environment;
        environment[sign.first] = sign.second;
        launch();
        EXPECT_THAT(program->output(), StartsWith("lentora: this is a Wayland session, in which "));
        expectLens();
        end();
        environment = before;
        awaitFreshStart();
    }
}

TEST_F(LensStart, TheCardIsInTheLanguageOfTheUser) {
    const PixelRect corner{14, screenHeight - 14 - 60, 60, 60};
    const auto cardIn = [&](const char* locale) {
        environment["LC_ALL"] = locale;
        launch();
        openLocked();
        EXPECT_TRUE(showsLens(part, picture, 450, 210, std::exp(0.12)));
        Picture card = stillPicture(corner);
        end();
        awaitFreshStart();
        return card;
    };
    const Picture english = cardIn("en_GB.UTF-8");
    EXPECT_EQ(cardIn("de_DE.UTF-8"), english);
    EXPECT_NE(cardIn("it_IT.UTF-8"), english);
}

struct WithoutComposite : LensStart {
    WithoutComposite() { withoutExtension = "Composite"; }
};

// It has the windows in which a lens could be shown, too.
TEST_F(WithoutComposite, ItSaysWhatIsMissingAndEnds) {
    const PixelRect all{0, 0, screenWidth, screenHeight};
    const Picture before = screen(all);
    start();
    EXPECT_EQ(program->wait(), 1);
    EXPECT_THAT(program->output(),
                testing::EndsWith("lentora: windows cannot be magnified\n"
                                  "lentora: this X server lacks Composite\n"
                                  "lentora: the X server has no windows with alpha\n"));
    EXPECT_TRUE(resources().empty());
    EXPECT_EQ(screen(all), before);
}

struct WithoutDamage : LensStart {
    WithoutDamage() { withoutExtension = "DAMAGE"; }
};

TEST_F(WithoutDamage, ItSaysWhatIsMissingAndShowsANoticeInsteadOfALens) {
    launch();
    EXPECT_THAT(program->output(), HasSubstr("lentora: windows cannot be magnified\n"
                                             "lentora: this X server lacks DAMAGE\n"));
    const PixelRect all{0, 0, screenWidth, screenHeight};
    const Picture before = screen(all);
    const PixelRect corner = cardCorner(all);
    std::map<std::string, unsigned> atRest;
    // The first one makes the panel, which stays.
    for (const int notices : {1, 2}) {
        hands().press(Key::AltL);
        hands().pinch({1.0, 1.1});
        ASSERT_TRUE(awaitLog("engage blocked: Screen Recording permission missing", notices));
        EXPECT_TRUE(eventually([&] { return screen(corner) != partOf(before, corner); }));
        EXPECT_EQ(screen(part), picture);
        EXPECT_TRUE(eventually([&] { return !isLensShown(); }));
        EXPECT_TRUE(showsExactly(all, before));
        hands().release(Key::AltL);
        EXPECT_THAT(log(), Not(HasSubstr("STARTED")));
        // The next one is no double press, and the server has let go of what goes.
        awaitFreshStart();
        if (notices == 1)
            atRest = resources();
    }
    EXPECT_TRUE(eventually([&] { return resources() == atRest; }))
        << testing::PrintToString(resources()) << " and not " << testing::PrintToString(atRest);
    end();
    EXPECT_THAT(log(),
                AllOf(HasSubstr("[perm] ScreenRecording=false  Accessibility=true  "
                                "InputMonitoring=true\n"),
                      HasSubstr("[perm] -> grant Screen Recording, then RELAUNCH (capture won't "
                                "work without it)\n"),
                      Not(HasSubstr("grant Accessibility")),
                      Not(HasSubstr("grant Input Monitoring"))));
}

} // namespace
} // namespace lentora::test
