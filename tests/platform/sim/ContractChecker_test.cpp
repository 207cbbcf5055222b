// The simulated desktop has to notice what a program does wrong; these programs do it.
#include "platform/sim/SimDesktop.h"
#include "render/Layer.h"
#include "render/LayerTransactions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lentora::sim {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class CarelessClient final : public EventTapClient {
public:
    void tapDidStart(bool /*installed*/) override {}
    bool handle(InputEvent& event) override {
        event.flags = 0;
        return swallow;
    }
    SwallowInterest swallowInterest() const override { return interest; }

    bool swallow = true;
    SwallowInterest interest;
};

class ContractTest : public testing::Test {
protected:
    void startTap() {
        desktop.eventTap.start(TapLocation::session, client);
        desktop.timeline.settle();
    }

    SimDesktop desktop;
    std::shared_ptr<CarelessClient> client = std::make_shared<CarelessClient>();
};

TEST_F(ContractTest, NoticesATapLeftRunning) {
    startTap();
    desktop.checkNothingLeft();
    EXPECT_THAT(desktop.contracts.violations(), ElementsAre(HasSubstr("left running")));
}

TEST_F(ContractTest, NoticesACallOnTheWrongThread) {
    desktop.executor.post([&] { desktop.eventTap.stop(); });
    desktop.timeline.settle();
    EXPECT_THAT(desktop.contracts.violations(),
                ElementsAre("EventTap::stop called on the background thread, belongs to the main "
                            "thread"));
}

TEST_F(ContractTest, NoticesQuestionsThatWouldHoldUpTheMainThreadAndTheOtherWayRound) {
    (void)desktop.windowList.onScreenWindows();
    (void)desktop.focusedWindows.focusedWindow(1);
    desktop.executor.post([&] { (void)desktop.permissions.screenRecording(); });
    desktop.timeline.settle();
    EXPECT_THAT(desktop.contracts.violations(),
                ElementsAre(HasSubstr("onScreenWindows called on the main thread"),
                            HasSubstr("focusedWindow called on the main thread"),
                            HasSubstr("Permissions called on the background thread")));
}

TEST_F(ContractTest, NoticesAnUnansweredFetch) {
    desktop.shareableContent.fetch({}, [](const auto& /*content*/) {});
    desktop.timeline.advanceTo(desktop.shareableContent.lastAnswerTime());
    desktop.shareableContent.fetch({}, [](const auto& /*content*/) {});
    desktop.checkNothingLeft();
    EXPECT_THAT(desktop.contracts.violations(), ElementsAre(HasSubstr("left unanswered")));
}

TEST_F(ContractTest, NoticesAPanelLeftOnTheScreen) {
    const auto panel = desktop.panels.make({0, 0, 100, 100});
    desktop.checkNothingLeft();
    EXPECT_THAT(desktop.contracts.violations(), IsEmpty());
    panel->orderFront();
    desktop.checkNothingLeft();
    EXPECT_THAT(desktop.contracts.violations(), ElementsAre("a panel was left on the screen"));
    panel->orderOut();
    desktop.checkNothingLeft();
    EXPECT_EQ(desktop.contracts.violations().size(), 1U);
}

TEST_F(ContractTest, NoticesAPanelOrItsLayersTouchedOnTheWrongThread) {
    LayerTransactions transactions(desktop.timeline, desktop.mainQueue);
    const auto layer = std::make_shared<Layer>(transactions);
    const auto panel = desktop.panels.make({0, 0, 100, 100});
    panel->setContent(layer);
    desktop.executor.post([&] {
        panel->orderFront();
        panel->setFrame({});
        panel->orderOut();
        layer->setOpacity(0);
    });
    desktop.timeline.settle();
    EXPECT_THAT(desktop.contracts.violations(),
                ElementsAre(StartsWith("Panel::orderFront"), StartsWith("Panel::setFrame"),
                            StartsWith("Panel::orderOut"), StartsWith("a change of a layer")));
}

TEST_F(ContractTest, NoticesEventsSwallowedUnforeseen) {
    startTap();
    InputEvent key{.type = EventType::keyDown, .keyCode = 53};
    EXPECT_EQ(desktop.eventTap.deliver(key), true);
    client->swallow = false;
    client->interest.pinch = SwallowInterest::Pinch::always;
    InputEvent pinch{.type = EventType::magnify, .magnification = 0.1};
    desktop.eventTap.deliver(pinch);
    InputEvent click{.type = EventType::leftMouseDown, .flags = eventFlag::option};
    desktop.eventTap.deliver(click);
    EXPECT_THAT(desktop.contracts.violations(),
                ElementsAre(HasSubstr("swallowed unforeseen"), HasSubstr("was not told"),
                            HasSubstr("flags were rewritten unforeseen")));
    desktop.eventTap.interestChanged();
    desktop.eventTap.deliver(pinch);
    EXPECT_THAT(desktop.contracts.violations().back(), HasSubstr("was let pass"));
}

TEST_F(ContractTest, NoticesTheLogsQueueWaitingForItselfAndEndlessWork) {
    desktop.logQueue.post([&] { desktop.logQueue.runAndWait([] {}); });
    std::function<void()> again = [&] { desktop.mainQueue.post(again); };
    again();
    desktop.timeline.settle();
    EXPECT_THAT(desktop.contracts.violations(),
                ElementsAre(HasSubstr("waits for itself"), HasSubstr("without end")));
}

TEST_F(ContractTest, TimeRunsInOrderOfDueTimeThenOfPosting) {
    std::vector<int> order;
    const auto note = [&](int n) { return [&order, n] { order.push_back(n); }; };
    desktop.mainQueue.postAfter(0.2, note(3));
    desktop.executor.postAfter(0.1, [&] {
        order.push_back(1);
        desktop.mainQueue.post(note(2));
    });
    desktop.mainQueue.postAfter(0.2, note(4));
    desktop.mainQueue.postAfter(0.3, note(5));
    desktop.timeline.advanceTo(0.25);
    EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(desktop.timeline.now(), 0.25);
}

} // namespace
} // namespace lentora::sim
