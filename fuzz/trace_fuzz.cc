// A trace file: its rows and their replay.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <utility>

#include "fuzz/fuzz_target.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "wavelarkctl/command.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/replay/replay_run.h"
#include "wavelarkctl/trace/trace_reader.h"
#include "wavelarkctl/trace/trace_row.h"
#include "wavelarkctl/trace/trace_survey.h"

namespace orvane {
namespace {

using namespace wavelarkctl;

TraceReader MakeReader(std::span<const std::uint8_t> bytes) {
  platform::ScopedFd file(memfd_create("trace", MFD_CLOEXEC));
  CHECK(write(file.get(), bytes.data(), bytes.size()) == std::ssize(bytes));
  return {std::move(file), "trace"};
}

// A formatted row must give the same text when it is parsed and formatted again.
void CheckRows(TraceReader& reader) {
  TraceRow row;
  while (reader.Next(&row)) {
    std::string line = FormatTraceRow(row);
    line.pop_back();
    TraceRow again;
    CHECK(ParseTraceRow(line, &again).empty()) << line;
    CHECK(FormatTraceRow(again) == line + "\n") << line;
    CHECK(again.time == row.time && again.address == row.address && again.signal == row.signal);
  }
  reader.Rewind();
}

void Replay(TraceReader& reader, Returns returns) {
  Progress progress("rows");
  const TraceSurvey survey = SurveyTrace(reader, std::nullopt, progress);
  std::vector<ReplayRun> runs(1);
  runs[0].options.returns = returns;
  runs[0].summary = std::make_unique<ReplaySummary>();
  Roster roster;
  for (const std::string& interface : survey.interfaces) roster.InterfaceNumber(interface);
  ReplayTrace(reader, survey, {}, runs, {runs[0].summary.get()}, roster);
  CHECK(roster.clients().size() == survey.clients);
  CHECK(runs[0].summary->Total().below_floor <= runs[0].summary->Total().present);
  reader.Rewind();
}

}  // namespace

void FuzzOneInput(std::span<const std::uint8_t> bytes) {
  try {
    TraceReader reader = MakeReader(bytes);
    CheckRows(reader);
    for (const Returns returns : {Returns::kTrace, Returns::kSame, Returns::kOther}) {
      Replay(reader, returns);
    }
  } catch (const Failure& failure) {
    CHECK(failure.status() == ExitStatus::kData) << failure.what();
  }
}

}  // namespace orvane
