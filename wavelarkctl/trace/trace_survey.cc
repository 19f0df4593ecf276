#include "wavelarkctl/trace/trace_survey.h"

#include <fmt/format.h>

#include <algorithm>

#include "common/interface_names.h"
#include "wavelarkctl/command.h"
#include "wavelarkctl/trace/roster.h"

namespace orvane::wavelarkctl {
namespace {

std::vector<std::string> PolledInterfaces(const std::vector<std::string>& names) {
  const auto is_main = [](const std::string& name) {
    return std::ranges::find(ap::kMainInterfaces, name) != ap::kMainInterfaces.end();
  };
  if (!std::ranges::all_of(names, is_main)) return names;
  return {ap::kMainInterfaces.begin(), ap::kMainInterfaces.end()};
}

}  // namespace

TraceSurvey SurveyTrace(TraceReader& reader, const std::optional<Address>& client,
                        Progress& progress) {
  TraceSurvey survey;
  Roster roster;
  TraceRow row;
  bool has_client = !client.has_value();
  while (reader.Next(&row)) {
    progress.Add();
    if (survey.rows++ == 0) survey.begin = survey.end = row.time;
    if (row.time < survey.end && survey.set_back++ == 0) {
      survey.first_set_back = reader.line_number();
    }
    survey.end = row.time;
    roster.InterfaceNumber(row.interface);
    if (roster.interfaces().size() > kMaxInterfaces) {
      throw Failure(ExitStatus::kData, fmt::format("{}:{}: over {} interfaces", reader.name(),
                                                   reader.line_number(), kMaxInterfaces));
    }
    roster.ClientNumber(row.address);
    has_client = has_client || row.address == client;
  }
  if (survey.rows == 0) throw Failure(ExitStatus::kData, reader.name() + ": no rows");
  if (!has_client) {
    throw Failure(ExitStatus::kData, reader.name() + ": no row of " + FormatAddress(*client));
  }
  survey.interfaces = PolledInterfaces(roster.interfaces());
  survey.clients = roster.clients().size();
  reader.Rewind();
  return survey;
}

}  // namespace orvane::wavelarkctl
