#pragma once

// The subcommands of `velin`. Each registers itself on the program's CLI11 app and, when chosen, stores its
// exit status in `exitStatus`: 0 when everything succeeded, 1 when something failed (usage errors are 2 and
// are handled by main).

#include <CLI/CLI.hpp>

#include <string>

namespace velin {
namespace cli {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

void addSegmentCommand(CLI::App& app, int& exitStatus);
void addPhantomCommand(CLI::App& app, int& exitStatus);
void addDemoCommand(CLI::App& app, int& exitStatus);

/// "BxAxD" (e.g. "128x512x1024") to three positive sizes; throws CLI::ValidationError otherwise.
void parseShape(const std::string& text, int& numBScans, int& numAScans, int& depth);

}  // namespace cli
}  // namespace velin
