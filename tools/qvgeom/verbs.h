#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "console.h"
#include "exit_code.h"

namespace tool {

/// A verb of the program: its command line, and what it does once that was read.
struct Verb {
  CLI::App* app = nullptr;
  std::function<ExitCode(Console&)> run;
};

Verb makeBake(CLI::App& program);
Verb makeBounds(CLI::App& program);
Verb makeCheck(CLI::App& program);
Verb makeClean(CLI::App& program);
Verb makeClosest(CLI::App& program);
Verb makeConvert(CLI::App& program);
Verb makeCurvature(CLI::App& program);
Verb makeCut(CLI::App& program);
Verb makeFill(CLI::App& program);
Verb makeFlatten(CLI::App& program);
Verb makeInfo(CLI::App& program);
Verb makeInside(CLI::App& program);
Verb makeIntersect(CLI::App& program);
Verb makeMake(CLI::App& program);
Verb makeMass(CLI::App& program);
Verb makeNormals(CLI::App& program);
Verb makeOffset(CLI::App& program);
Verb makeOrient(CLI::App& program);
Verb makePack(CLI::App& program);
Verb makePick(CLI::App& program);
Verb makeRaycast(CLI::App& program);
Verb makeReduce(CLI::App& program);
Verb makeRender(CLI::App& program);
Verb makeRepair(CLI::App& program);
Verb makeReverse(CLI::App& program);
Verb makeSelect(CLI::App& program);
Verb makeSmooth(CLI::App& program);
Verb makeStitch(CLI::App& program);
Verb makeSwapEdges(CLI::App& program);
Verb makeTransform(CLI::App& program);
Verb makeWeld(CLI::App& program);

}  // namespace tool
