#include "queries.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "exit_code.h"
#include "mesh_io.h"

namespace tool {

namespace {

constexpr std::size_t kBlock = 1 << 16;

// Each thread keeps its answerer from block to block, each chunk has a text of its own.
class BlockAlg : public qvUtil::ThreadedChunkAlg {
 public:
  using Answerers = std::vector<std::unique_ptr<Answerer>>;

  BlockAlg(const NumberRows& rows, std::size_t begin, std::size_t end, bool json,
           const std::function<std::unique_ptr<Answerer>()>& makeAnswerer, Answerers& answerers)
      : ThreadedChunkAlg(static_cast<int>(end - begin)),
        rows_(rows),
        begin_(begin),
        count_(static_cast<int>(end - begin)),
        json_(json),
        makeAnswerer_(makeAnswerer),
        answerers_(answerers) {}

  void initialize(int numThreads) override { answerers_.resize(static_cast<std::size_t>(numThreads)); }

  void executeChunk(int chunk, int thread, int) override {
    auto& answerer = answerers_[static_cast<std::size_t>(thread)];
    if (!answerer) answerer = makeAnswerer_();
    std::string& text = texts_[static_cast<std::size_t>(chunk)];
    const int end = getBeginIndex(chunk + 1, getNumChunks(), count_);
    for (int i = getBeginIndex(chunk, getNumChunks(), count_); i < end && !cancelled(thread); ++i) {
      const std::size_t row = begin_ + static_cast<std::size_t>(i);
      if (json_) text += row == 0 ? "\n" : ",\n";
      answerer->answer(rows_[row], json_, text);
      if (!json_) text += '\n';
    }
  }

  void write() const {
    for (const std::string& text : texts_) writeStandardOutput(text);
  }

 private:
  const NumberRows& rows_;
  std::size_t begin_;
  int count_;
  bool json_;
  const std::function<std::unique_ptr<Answerer>()>& makeAnswerer_;
  Answerers& answerers_;
  std::array<std::string, kMaxChunks> texts_;
};

}  // namespace

void QueryFiles::addTo(CLI::App& app, const char* name, const char* lines) {
  app.add_option("MESH", mesh, "mesh file (.obj, .qvm), or - for standard input")->required();
  app.add_option(name, queries,
                 std::string("text file with ") + lines +
                     " a line, or - for standard input; empty lines and lines that begin with # are skipped")
      ->required();
  app.add_option("--format", format, "format of the mesh: obj or qvm; by default its name tells");
  app.add_flag("--json", json, "print one JSON array instead of lines");
}

void QueryFiles::read(Console& console, qvGeom::CompactMesh& target, NumberRows& rows) const {
  if (mesh == "-" && queries == "-") throw Failure(kUsage, "only one file can be standard input");
  const Format from = resolveFormat(mesh, parseFormat(format), true);
  rows.read(queries, console);
  readMesh(mesh, from, 0.5, console, target);
}

void answerRows(const NumberRows& rows, bool json,
                const std::function<std::unique_ptr<Answerer>()>& makeAnswerer, Console& console) {
  console.progress().setCaption("answering");
  qvUtil::Progress phase;
  console.progress().subPhase(1, phase);
  BlockAlg::Answerers answerers;
  if (json) writeStandardOutput("[");
  for (std::size_t begin = 0; begin < rows.size(); begin += kBlock) {
    const std::size_t end = std::min(begin + kBlock, rows.size());
    BlockAlg alg(rows, begin, end, json, makeAnswerer, answerers);
    alg.setProgress(&phase);
    qvUtil::ThreadPool::get().runChunks(alg);
    console.throwIfInterrupted();
    alg.write();
    phase.set(static_cast<double>(end) / static_cast<double>(rows.size()));
  }
  if (json) writeStandardOutput(rows.size() == 0 ? "]\n" : "\n]\n");
}

}  // namespace tool
