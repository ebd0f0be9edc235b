// What an action throws, as a test compares it.
#pragma once

#include <string>

// The text of the Error that the action throws; "nothing thrown" if it throws nothing.
template <typename Error, typename Action>
std::string errorText(const Action& action) {
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return "nothing thrown";
}
