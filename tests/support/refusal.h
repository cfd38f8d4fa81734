#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "imagemodel/imagemodel.h"
#include "measure/error.h"

namespace test {

// The text of the InputError; a failure for anything else.
inline std::string Refusal(const std::function<void()>& call) {
    try {
        call();
        ADD_FAILURE() << "was accepted";
    } catch (const measure::InputError& error) {
        EXPECT_STRNE(error.what(), "");
        return error.what();
    } catch (const std::exception& error) {
        ADD_FAILURE() << "no InputError: " << error.what();
    } catch (const KrN::KrException* error) {
        ADD_FAILURE() << "a pointer escaped: " << error->what();
    }
    return {};
}
inline void ExpectRefusal(const std::function<void()>& call, const std::string& says) {
    const std::string text = Refusal(call);
    EXPECT_NE(text.find(says), std::string::npos) << says << " | " << text;
}

}  // namespace test
