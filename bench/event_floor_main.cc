// Attaches to a control socket and handles the events like EventFloor: the minimum cost of an event
// for a process. usage: event_floor SOCKET

#include "bench/event_floor.h"
#include "bench/floor_socket.h"
#include "platform/logging.h"

int main(int argc, char** argv) {
  using orvane::bench::EventFloor;
  CHECK(argc == 2) << "usage: event_floor SOCKET";
  orvane::bench::FloorSocket socket(argv[1]);
  const EventFloor floor("a salt of the benchmark's");
  EventFloor::Event batch;
  for (;;) floor.Take(socket.Next(), &batch);
}
