#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>
#include <vector>

#include "console.h"
#include "exit_code.h"
#include "mesh_io.h"
#include "verbs.h"

namespace tool {
namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 done and clean, 1 done but defects remain, 2 usage, 3 input not readable,\n"
    "4 output not written, 130 interrupted, 70 internal error.\n"
    "'qvgeom help VERB' shows examples.";

struct GlobalOptions {
  int threads = 0;
  bool quiet = false;
  bool verbose = false;
};

class Program {
 public:
  Program() : app_("Geometric algorithms for triangle meshes", "qvgeom") {
    app_.set_version_flag("--version", "qvgeom " QVGEOM_VERSION_STRING);
    app_.add_flag("-q,--quiet", options_.quiet, "no notes, no warnings, no progress bar");
    app_.add_flag("-v,--verbose", options_.verbose, "show what the library reports of its work");
    app_.add_option("--threads", options_.threads, "number of threads (default: all)")
        ->check(CLI::Range(1, 256));
    app_.footer(kExitCodes);
    app_.require_subcommand(1);
    app_.fallthrough();  // global options may follow the verb
    verbs_ = {makeInfo(app_),      makeConvert(app_), makeWeld(app_),    makeNormals(app_),
              makeTransform(app_), makeMake(app_),    makeClean(app_),   makeCheck(app_),
              makeRepair(app_),    makeOrient(app_),  makeReverse(app_), makeSelect(app_),
              makeSwapEdges(app_), makeReduce(app_),  makeSmooth(app_),  makeOffset(app_),
              makeStitch(app_),    makeFill(app_),    makeCut(app_),     makeFlatten(app_),
              makeClosest(app_),   makeRaycast(app_), makeInside(app_),  makeIntersect(app_),
              makeCurvature(app_), makeMass(app_),    makePack(app_),    makeBounds(app_),
              makeRender(app_),    makePick(app_),    makeBake(app_)};
    help_ = app_.add_subcommand("help", "Explain a verb, with examples");
    help_->add_option("VERB", helpVerb_, "the verb to explain");
  }

  int main(int argc, char** argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
      // Help and version leave by an exception as well.
      if (e.get_exit_code() == 0) return app_.exit(e);
      std::fprintf(stderr, "qvgeom: %s\nRun 'qvgeom --help' for the usage.\n", e.what());
      return kUsage;
    }
    Console console;
    return guarded(console);
  }

 private:
  int guarded(Console& console) {
    try {
      return run(console);
    } catch (const Failure& failure) {
      console.error(failure.what());
      return failure.code();
    } catch (const std::bad_alloc&) {
      console.error("out of memory");
    } catch (const std::exception& e) {
      console.error(std::string("internal error: ") + e.what());
    }
    return kInternal;
  }

  ExitCode run(Console& console) {
    if (options_.quiet) console.setQuiet();
    if (options_.verbose) console.setVerbose();
    if (options_.threads > 0) qvUtil::ThreadPool::get().setNumThreads(options_.threads);
    if (help_->parsed()) return explain();
    for (const Verb& verb : verbs_)
      if (verb.app->parsed()) return verb.run(console);
    return kUsage;
  }

  ExitCode explain() {
    if (helpVerb_.empty()) {
      writeStandardOutput(app_.help());
      return kDone;
    }
    for (const Verb& verb : verbs_) {
      if (verb.app->get_name() != helpVerb_) continue;
      writeStandardOutput(verb.app->help());
      return kDone;
    }
    throw Failure(kUsage, "there is no verb '" + helpVerb_ + "'");
  }

  CLI::App app_;
  GlobalOptions options_;
  std::vector<Verb> verbs_;
  CLI::App* help_ = nullptr;
  std::string helpVerb_;
};

}  // namespace
}  // namespace tool

int main(int argc, char** argv) { return tool::Program().main(argc, argv); }
