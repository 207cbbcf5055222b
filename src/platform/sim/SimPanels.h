// Panels of the simulated desktop.
#pragma once

#include "platform/Panel.h"
#include "platform/sim/ContractChecker.h"
#include "support/Rect.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lentora::sim {

class SimPanels;

class SimPanel final : public Panel, public LayerObserver {
public:
    SimPanel(SimPanels& panels, const Rect& frame, std::uint32_t windowNumber);
    ~SimPanel() override;
    SimPanel(const SimPanel&) = delete;
    SimPanel& operator=(const SimPanel&) = delete;

    // Panel.
    void setContent(std::shared_ptr<Layer> root) override;
    void setFrame(const Rect& frame) override;
    void orderFront() override;
    void orderOut() override;
    std::uint32_t windowNumber() const override { return windowNumber_; }

    // LayerObserver.
    void layersDidChange() override;

    bool isShown() const { return isShown_; }
    const Rect& frame() const { return frame_; }
    const Layer* content() const { return content_.get(); }

    /// Whether there is anything to draw at a refresh at `now`. Draws it, as it were: the next
    /// refresh has to draw only what changed or moves after that.
    bool takeDrawing(double now);

private:
    SimPanels& panels_;
    Rect frame_;
    const std::uint32_t windowNumber_;
    bool isShown_ = false;
    bool hasChanged_ = true;
    double lastDrawn_ = 0;
    std::shared_ptr<Layer> content_;
};

/// Makes the panels and knows those there are. Outlives them.
class SimPanels final : public Panels {
public:
    /// Above the numbers that scenarios give to windows.
    static constexpr std::uint32_t firstWindowNumber = 1'000'000;

    explicit SimPanels(ContractChecker& contracts) : contracts_(contracts) {}

    std::unique_ptr<Panel> make(const Rect& frame) override;

    /// Called whenever a panel is put on the screen or taken off.
    std::function<void(bool shown, const Rect& frame)> onOrder;

    /// In the order in which they were made.
    const std::vector<SimPanel*>& panels() const { return panels_; }

    /// The one that was made first of those on the screen, or null.
    SimPanel* shownPanel() const;

private:
    friend class SimPanel;

    ContractChecker& contracts_;
    std::vector<SimPanel*> panels_;
    std::uint32_t nextWindowNumber_ = firstWindowNumber;
};

} // namespace lentora::sim
