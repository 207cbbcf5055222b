#include "platform/x11/AppIdentities.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace lentora::x11 {
namespace {

namespace fs = std::filesystem;

class AppIdentitiesTest : public testing::Test {
protected:
    void SetUp() override {
        for (const char* const name : {"user", "system"})
            fs::create_directory(path(name));
    }

    fs::path path(const std::string& name) const { return fs::path(folder.path()) / name; }

    void write(const std::string& file, const std::string& content) {
        fs::create_directories(path(file).parent_path());
        std::ofstream(path(file)) << "[Desktop Entry]\nType=Application\n" << content;
        // Two changes may come within one tick of the clock of the disk.
        fs::last_write_time(path("system"), fs::file_time_type(std::chrono::seconds(++changes)));
    }

    std::string identifier(const std::string& className) {
        identities.refresh();
        return identities.of("instance", className).identifier;
    }

    test::TempFolder folder;
    int changes = 0;
    posix::DesktopEntries entries{{path("user"), path("missing"), path("system")}};
    AppIdentities identities{entries};
};

TEST_F(AppIdentitiesTest, BrowsersHaveTheIdentifiersOfTheMacWhateverTheirWindowsSay) {
    for (const char* const name :
         {"firefox", "Firefox-esr", "Navigator", "firefox_firefox", "org.mozilla.firefox"})
        EXPECT_EQ(identifier(name), "org.mozilla.firefox") << name;
    EXPECT_EQ(identifier("Google-chrome-beta"), "com.google.Chrome");
    EXPECT_EQ(identifier("Microsoft-edge"), "com.microsoft.edgemac");
    EXPECT_EQ(identifier("Brave-browser"), "com.brave.Browser");
    EXPECT_EQ(identifier("Vivaldi-stable"), "com.vivaldi.Vivaldi");
    EXPECT_EQ(identifier("Opera"), "com.operasoftware.Opera");
    EXPECT_EQ(identifier("Operator"), "operator");
    // The instance is anybody's choice.
    EXPECT_EQ(identities.of("firefox", "XTerm").identifier, "xterm");
    EXPECT_EQ(identities.of("firefox", "").identifier, "org.mozilla.firefox");
    EXPECT_EQ(identities.of("", "").identifier, "");
}

TEST_F(AppIdentitiesTest, OthersHaveThoseOfTheirDesktopFiles) {
    EXPECT_EQ(identifier("Inkscape"), "inkscape");
    write("system/org.inkscape.Inkscape.desktop", "Name=Inkscape\nCategories=Graphics;\n"
                                                  "[Desktop Action New]\nName=New Window\n");
    write("system/soffice.desktop", "Name=Office\nStartupWMClass=Inkscape-not\n");
    write("system/kde/editor.desktop", "Name = Editor\r\n#Name=x\nStartupWMClass = Gvim\n");
    write("system/term.desktop", "Name=T\nCategories=System;TerminalEmulator;\n");
    write("system/files.desktop", "Name=F\nCategories=FileManager\n");
    EXPECT_EQ(identifier("Inkscape"), "org.inkscape.Inkscape");
    EXPECT_EQ(identities.of("", "Inkscape").name, "Inkscape");
    EXPECT_EQ(identifier("Gvim"), "kde-editor");
    EXPECT_EQ(identities.of("", "gvim").name, "Editor");
    EXPECT_EQ(identifier("Term"), "com.apple.Terminal");
    EXPECT_EQ(identities.of("files", "Unknown").identifier, "com.apple.finder");
    EXPECT_EQ(identifier("soffice"), "soffice");

    // The user's own file hides that of the system.
    write("user/org.inkscape.Inkscape.desktop", "Name=Mine\n");
    identities.refresh();
    EXPECT_EQ(identities.of("", "Inkscape").name, "Mine");
}

TEST_F(AppIdentitiesTest, FilesThatAreNoApplicationsAreNone) {
    EXPECT_FALSE(posix::parseDesktopEntry("x", ""));
    EXPECT_FALSE(posix::parseDesktopEntry("x", "[Desktop Entry]\nType=Link\nName=x\n"));
    EXPECT_FALSE(posix::parseDesktopEntry("x", "Type=Application\n[Other]\nType=Application\n"));
    EXPECT_TRUE(posix::parseDesktopEntry("x", "[Desktop Entry]\nType=Application"));
    EXPECT_EQ(posix::parseDesktopEntry("x", "[Desktop Entry]\nType=Application\nName=\x1B[2J\xFF\n")
                  ->name,
              "[2J\uFFFD");
}

} // namespace
} // namespace lentora::x11
