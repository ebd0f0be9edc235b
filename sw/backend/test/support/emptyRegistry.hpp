// A registry of filters that tests give some.
#pragma once

#include "quardexBeIf.hpp"

namespace Qdx::Test {

// Has no filters and no room for any. Tests override what they are about.
class EmptyRegistry : public Backend::QuardexBeIf {
public:
    virtual ~EmptyRegistry() = default;

    std::optional<Backend::FilterId> findFilter(const std::string&) const override {
        return std::nullopt;
    }
    Backend::ErrorType pullFilterData(Backend::FilterId, Backend::Clear, std::string&) override {
        return Backend::ErrorType::NoSuchFilter;
    }
    Backend::ErrorType printFilterData(std::optional<Backend::FilterId>,
                                       std::optional<unsigned int>, std::string&) override {
        return Backend::ErrorType::NoSuchFilter;
    }
    bool hasReachedMaxNumberOfFilters() const override { return true; }
    Backend::ErrorType createFilter(const Backend::FilterId&, const std::string&,
                                    const std::vector<Backend::CaptureStatement>&, unsigned long,
                                    Backend::Enabled, Backend::Static,
                                    Backend::Printable) override {
        return Backend::ErrorType::MaxFiltersReached;
    }
    std::optional<std::string> listFilters(Backend::Printable) const override {
        return std::nullopt;
    }
    void enableFilter(const Backend::FilterId&) override {}
    void disableFilter(const Backend::FilterId&) override {}
    void deleteFilter(Backend::FilterId, std::ostream&) override {}
    void deleteAllFilters(std::ostream&) override {}
    void clearAllFilters(std::ostream&) override {}
};

}  // namespace Qdx::Test
