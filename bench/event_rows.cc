#include <string>
#include <vector>

#include "bench/compare.h"
#include "bench/event_floor.h"
#include "bench/full_uploader.h"
#include "bench/rows.h"
#include "platform/logging.h"
#include "testbed/fake_recorder.h"

namespace orvane::bench {
namespace {

constexpr std::size_t kEvents = 1000;

// Checks that the floor and the daemon make the same batch from these lines.
void CheckSameBatch(const std::string& record, const EventFloor::Event& batch) {
  EventFloor::Event ours;
  CHECK(ours.ParseFromString(record));
  CHECK(ours.client_event_info_size() == batch.client_event_info_size());
  for (int i = 0; i < batch.client_event_info_size(); ++i) {
    CHECK(ours.client_event_info(i).SerializeAsString() ==
          batch.client_event_info(i).SerializeAsString());
  }
}

// Measures from the line to the entry in the batch. Each piece starts a new batch.
Measured MeasureEvents() {
  const std::vector<std::string> lines = EventLines(kEvents);
  testbed::FakeRecorder recorder;
  FullUploader uploader(&recorder);
  const Piece ours = [&] {
    uploader.Upload();
    recorder.Clear();
    return CpuTimeOfWork([&] { uploader.Take(lines); });
  };
  const EventFloor event_floor(kSalt);
  EventFloor::Event batch;
  const Piece floor = [&] {
    batch = EventFloor::Event();
    return CpuTimeOfWork([&] {
      for (const std::string& line : lines) event_floor.Take(line, &batch);
    });
  };
  const Measured measured = Compare(ours, floor, kEvents);
  uploader.Upload();
  CheckSameBatch(recorder.records().back().bytes, batch);
  return measured;
}

}  // namespace

std::vector<Row> EventRows() {
  return {{.name = "event_library",
           .what = "an event, user-space part",
           .unit = "ns",
           .goal = 1.65,
           .measure = MeasureEvents}};
}

}  // namespace orvane::bench
