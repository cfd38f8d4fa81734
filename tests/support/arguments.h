#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <limits>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/image.h"
#include "tests/support/refusal.h"

// Tables of bad arguments: every public function refuses them with an InputError, whatever they are. All images have
// buffers of exactly their size, so that a sanitized run sees every read beyond them.
namespace test {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kInf = std::numeric_limits<double>::infinity();
inline const cv::Size kSize(40, 30);

// An image whose pixels are followed by memory that is not its own.
inline cv::Mat Exact(cv::Size size, int type) {
    static std::deque<std::vector<std::uint8_t>> buffers;
    buffers.emplace_back(static_cast<std::size_t>(size.area()) * static_cast<std::size_t>(CV_ELEM_SIZE(type)));
    return {size, type, buffers.back().data()};
}
template <class T>
cv::Mat_<T> Filled(double lower, double upper, cv::Size size = kSize) {
    cv::Mat_<T> image = Exact(size, cv::traits::Type<T>::value);
    if (lower < upper)
        cv::randu(image, lower, upper);
    else
        image = cv::saturate_cast<T>(lower);
    return image;
}
template <class T>
void Settle(cv::Mat_<T>& image) {
    cv::Mat_<T> exact = Exact(image.size(), image.type());
    image.copyTo(exact);
    image = exact;
}

// What a family of functions takes, A, as it must be; and how one of its members is spoilt, in so many ways.
template <class A>
struct Change {
    const char* name;
    std::function<void(A&, std::size_t way)> apply;
    std::size_t ways = 1;
};
template <class A>
struct Image {
    const char* name;
    std::function<cv::Mat&(A&)> of;
    bool mayBeMissing = false;
};
template <class A>
struct Function {
    const char* name;
    std::function<void(const A&)> call;
    std::vector<Image<A>> images;  // each is refused when it is smaller, wider or empty
    std::vector<Change<A>> changes;
};
// Sets a member to one number after the other.
template <class Member>
struct SetTo {
    SetTo(const char* name_, std::initializer_list<double> values_, const Member& member_)
        : name(name_), values(values_), member(member_) {}
    template <class A>
    operator Change<A>() const {
        const auto apply = [values = values, member = member](A& a, std::size_t way) {
            member(a) = static_cast<std::decay_t<decltype(member(a))>>(values[way]);
        };
        return {name, apply, values.size()};
    }
    const char* name;
    std::vector<double> values;
    Member member;
};
// A call, which is its own name.
#define OF(...) #__VA_ARGS__, [](auto& a) { __VA_ARGS__; }
#define IMAGE(path)                                   \
  {                                                   \
#    path, [](auto& a) -> cv::Mat& { return a.path; } \
  }
#define MAYBE(path)                                         \
  {                                                         \
#    path, [](auto& a) -> cv::Mat& { return a.path; }, true \
  }
#define SET(path, value)                                                 \
  {                                                                      \
#    path " = " #    value, [](auto& a, std::size_t) { a.path = value; } \
  }
#define SETS(path, ...) \
  SetTo(                \
      #path " = one of " #__VA_ARGS__, {__VA_ARGS__}, [](auto& a) -> auto& { return a.path; })
#define DO(statement)                                     \
  {                                                       \
#    statement, [](auto& a, std::size_t) { a.statement; } \
  }

template <class A>
void ExpectRefusals(const A& good, const std::vector<Function<A>>& functions) {
    for (const Function<A>& function : functions) {
        SCOPED_TRACE(function.name);
        EXPECT_NO_THROW(function.call(good));
        for (const Image<A>& image : function.images) {
            const auto with = [&](cv::Size size) {
                A bad = good;
                cv::Mat& spoilt = image.of(bad);
                spoilt = size.empty() ? cv::Mat() : Exact(size, spoilt.type());
                return Refusal([&] { function.call(bad); });
            };
            SCOPED_TRACE(image.name);
            if (!image.mayBeMissing) with({});
            if (function.images.size() < 2 && !image.mayBeMissing) continue;
            EXPECT_NE(with({3, 2}).find("3 x 2"), std::string::npos);
            with({kSize.width, 1});
            with({1, kSize.height});
        }
        for (const Change<A>& change : function.changes)
            for (std::size_t way = 0; way < change.ways; ++way) {
                SCOPED_TRACE(testing::Message() << change.name << ", way " << way);
                A bad = good;
                change.apply(bad, way);
                Refusal([&] { function.call(bad); });
            }
    }
}

}  // namespace test
