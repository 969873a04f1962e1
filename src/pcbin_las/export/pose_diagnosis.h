// Why a pose file gives no pose.
#pragma once

#include <string>

/// A reason, for a message, why nothing of a pose file can be used. `line` is its first line that
/// should hold a pose, or its title; empty when it has neither.
std::string whyNoPose(const std::string& line);
