// Lets work that runs later find out that the object which queued it is gone.
#pragma once

#include <memory>

namespace lentora {

/// A member of the object in question. One thread: the object's.
class Lifetime {
public:
    /// True for as long as the object exists.
    class Watch {
    public:
        explicit operator bool() const { return !token_.expired(); }

    private:
        friend class Lifetime;
        explicit Watch(std::weak_ptr<const char> token) : token_(std::move(token)) {}

        std::weak_ptr<const char> token_;
    };

    Lifetime() = default;
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    Watch watch() const { return Watch(token_); }

private:
    std::shared_ptr<const char> token_ = std::make_shared<char>();
};

} // namespace lentora
