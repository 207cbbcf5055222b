// The picture of a pane of glass: a tree of layers, each a rectangle with looks, contents and
// children. The core changes it; a presenter (the panel of a platform) shows it.
//
// What a presenter does:
//
// - It watches the root (`setObserver`). Each change tells it, on the main thread. It notes that a
//   drawing is due and draws later, at the display's next refresh, once for all changes.
// - When it draws, it reads the clock and visits the tree at that time (render/LayerVisitor.h).
//   There it gets the presented values: those in the middle of a movement where one runs.
// - If `changesUntil()` lies after the time it drew for, it draws again at the next refresh, with
//   or without a change, until it has drawn for that time or a later one.
// - Otherwise it rests. No change and no movement: the picture is the same.
// - `changeCount()` tells whether a layer itself changed since it was last drawn; contents are
//   shared and do not change, so the same pointer is the same picture and an upload of it can be
//   kept for as long as the pointer is.
//
// Units are points. y grows upwards from a layer's bottom-left corner.
#pragma once

#include "platform/CaptureStreams.h"
#include "render/Animation.h"
#include "render/AttributedText.h"
#include "render/Color.h"
#include "render/LayerTransactions.h"
#include "support/Picture.h"
#include "support/Rect.h"

#include <cstdint>
#include <memory>
#include <variant>
#include <vector>

namespace lentora {

/// What a layer shows, by reference: a captured frame, a picture, or text; never null. Pictures are
/// upright: their first row is at the layer's top. Text begins at the layer's top-left corner and
/// breaks at its width.
using LayerContents =
    std::variant<std::monostate, std::shared_ptr<const Surface>, std::shared_ptr<const Picture>,
                 std::shared_ptr<const AttributedText>>;

/// How a frame or a picture fills a layer.
enum class ContentsGravity {
    /// Stretched to the layer's size.
    resize,
    /// As large as fits without distortion, centred.
    resizeAspect
};

enum class ContentsFilter { linear, nearest };

/// Falls below everything else of the layer, and is not clipped by it. Cast by the rounded
/// rectangle; there is none at opacity 0.
struct LayerShadow {
    Color color = Color::white(0);
    double opacity = 0;
    /// The blur's standard deviation.
    double radius = 3;
    Point offset = {};

    bool operator==(const LayerShadow&) const = default;
};

/// What jumps when it changes.
struct LayerStyle {
    double cornerRadius = 0;
    /// The border lies inside of the layer's edge and above its contents and children.
    double borderWidth = 0;
    Color borderColor = {};
    Color backgroundColor = {};
    LayerShadow shadow = {};
    /// Contents and children show only inside of the rounded rectangle. The background is rounded
    /// in any case.
    bool masksToBounds = false;
    /// The children's y grows downwards from the top edge, and so on for theirs. The contents are
    /// upright in any case.
    bool geometryFlipped = false;
    ContentsGravity contentsGravity = ContentsGravity::resize;
    ContentsFilter magnificationFilter = ContentsFilter::linear;
    ContentsFilter minificationFilter = ContentsFilter::linear;
    /// Pixels per point that the contents are made for.
    double contentsScale = 1;

    bool operator==(const LayerStyle&) const = default;
};

/// Who shows a tree.
class LayerObserver {
public:
    virtual ~LayerObserver() = default;

    /// Something in the tree looks or begins to move differently from now on. Called on the main
    /// thread, in the middle of the change: look at the tree later.
    virtual void layersDidChange() = 0;
};

/// Main thread.
class Layer {
public:
    /// `anchor` is the point of the layer that lies at its position, as a part of its size: its
    /// bottom-left corner, or its centre at (0.5, 0.5).
    explicit Layer(LayerTransactions& transactions, Point anchor = {0, 0})
        : transactions_(transactions), anchor_(anchor) {}
    ~Layer();
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;

    /// Where the layer is, in its parent's coordinates. Moves.
    Rect frame() const { return frameOf(position_.value(), size_.value()); }
    Rect frameAt(double time) const { return frameOf(position_.at(time), size_.at(time)); }
    void setFrame(const Rect& frame);

    /// Where its anchor is. Moves.
    Point position() const { return position_.value(); }
    Point positionAt(double time) const { return position_.at(time); }
    void setPosition(Point position) { change(position_, position); }

    /// Of the layer with its children, from 0 (they are not seen) to 1. Moves.
    double opacity() const { return opacity_.value(); }
    double opacityAt(double time) const { return opacity_.at(time); }
    void setOpacity(double opacity) { change(opacity_, opacity); }

    const LayerStyle& style() const { return style_; }
    void setStyle(const LayerStyle& style);
    /// Of the style.
    void setContentsScale(double scale);

    const LayerContents& contents() const { return contents_; }
    void setContents(LayerContents contents);

    /// Puts `child` on top of the children. It has no parent yet.
    void addChild(std::shared_ptr<Layer> child);
    /// From the lowest to the topmost.
    const std::vector<std::shared_ptr<Layer>>& children() const { return children_; }

    /// Of a root. Null to end it. The observer outlives it otherwise.
    void setObserver(LayerObserver* observer) { observer_ = observer; }

    /// How often this layer itself was changed.
    std::uint64_t changeCount() const { return changeCount_; }

    /// From this time on, this layer and its children stay as they are if nobody changes them.
    /// Minus infinity when nothing ever moved.
    double changesUntil() const;

private:
    Rect frameOf(Point position, Size size) const;
    void noteChange();

    template <typename T>
    void change(Animated<T>& property, const T& value) {
        const auto& transition = transactions_.current();
        const bool changed = transition ? property.moveTo(value, transactions_.now(), *transition)
                                        : property.set(value);
        if (changed)
            noteChange();
    }

    LayerTransactions& transactions_;
    const Point anchor_;
    Animated<Point> position_;
    Animated<Size> size_;
    Animated<double> opacity_{1};
    LayerStyle style_;
    LayerContents contents_;
    std::vector<std::shared_ptr<Layer>> children_;
    Layer* parent_ = nullptr;
    LayerObserver* observer_ = nullptr;
    std::uint64_t changeCount_ = 0;
};

} // namespace lentora
