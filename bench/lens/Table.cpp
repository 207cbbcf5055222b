#include "lens/Table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <optional>

namespace lentora::bench {
namespace {

using Value = std::function<std::optional<double>(const Result&)>;

Value percentile(std::vector<double> Result::*times, double part) {
    return [=](const Result& result) -> std::optional<double> {
        auto values = result.*times;
        if (values.empty())
            return std::nullopt;
        std::ranges::sort(values);
        const double rank = std::ceil(part * static_cast<double>(values.size()));
        return values[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
    };
}

Value load(std::vector<Load> Result::*loads, double Load::*whose) {
    return [=](const Result& result) -> std::optional<double> {
        const auto& values = result.*loads;
        if (values.empty())
            return std::nullopt;
        double sum = 0;
        for (const Load& value : values)
            sum += value.*whose;
        return sum / static_cast<double>(values.size());
    };
}

// Of what is above `floor`.
Value above(const Value& value, const Result& floor) {
    return [=, base = value(floor)](const Result& result) -> std::optional<double> {
        const auto total = value(result);
        if (!total || !base)
            return std::nullopt;
        return *total - *base;
    };
}

class Printer {
public:
    explicit Printer(const std::vector<Column>& columns) : columns_(columns) {}

    void head() const {
        std::printf("| |");
        for (const Column& column : columns_)
            std::printf(" %s%s%s |", column.name.c_str(), column.setting.empty() ? "" : ", ",
                        column.setting.c_str());
        std::printf("\n|---|");
        for (std::size_t i = 0; i < columns_.size(); ++i)
            std::printf("---|");
        std::printf("\n");
    }

    void line(const char* name, const Value& value) const { print(name, value, 0); }

    // The first column is no magnifier.
    void comparisons(const char* name, const Value& value) const {
        for (const std::size_t i : {1U, 2U}) {
            const auto bare = value(columns_[i].result);
            const auto ratio = [&](const Result& result) -> std::optional<double> {
                const auto own = value(result);
                return own && bare && *bare > 0 ? std::optional(*own / *bare) : std::nullopt;
            };
            print(std::string(name) + ", ratio to bare, " + columns_[i].setting, ratio, 1);
        }
    }

    void lineOfMagnifiers(const char* name, const Value& value) const { print(name, value, 1); }

private:
    void print(const std::string& name, const Value& value, std::size_t from) const {
        std::printf("| %s |", name.c_str());
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const auto number = i < from ? std::nullopt : value(columns_[i].result);
            if (number)
                std::printf(" %.2f |", *number);
            else
                std::printf(" |");
        }
        std::printf("\n");
    }

    const std::vector<Column>& columns_;
};

} // namespace

void printTable(const std::vector<Column>& columns) {
    const Printer printer(columns);
    const Result& nobody = columns.front().result;
    const Value busyServer = load(&Result::busy, &Load::server);
    printer.head();
    printer.line("pinch to first pixel, median ms", percentile(&Result::firstPixel, 0.5));
    printer.line("pinch to first pixel, longest ms", percentile(&Result::firstPixel, 1));
    printer.line("pinch to magnified pixel, median ms", percentile(&Result::magnifiedPixel, 0.5));
    printer.comparisons("pinch to magnified pixel", percentile(&Result::magnifiedPixel, 0.5));
    printer.line("1600x900 changes, median ms", percentile(&Result::whole, 0.5));
    printer.line("1600x900 changes, p99 ms", percentile(&Result::whole, 0.99));
    printer.comparisons("1600x900 changes", percentile(&Result::whole, 0.5));
    printer.line("2x18 changes, median ms", percentile(&Result::small, 0.5));
    printer.line("2x18 changes, p99 ms", percentile(&Result::small, 0.99));
    printer.comparisons("2x18 changes", percentile(&Result::small, 0.5));
    printer.lineOfMagnifiers("program at 60 changes/s, % of a core",
                             load(&Result::busy, &Load::program));
    printer.line("server at 60 changes/s, % of a core", busyServer);
    printer.lineOfMagnifiers("of that because of the program", above(busyServer, nobody));
    printer.comparisons("of that", above(busyServer, nobody));
    printer.lineOfMagnifiers("program without changes, % of a core",
                             load(&Result::idle, &Load::program));
    printer.line("server without changes, % of a core", load(&Result::idle, &Load::server));
    for (const Column& column : columns) {
        if (!column.result.failure.empty())
            std::printf("\n%s, %s: %s\n", column.name.c_str(), column.setting.c_str(),
                        column.result.failure.c_str());
    }
}

} // namespace lentora::bench
