# Joins the parts of the report's page and writes a source file that defines the page.
# Run as a script: cmake -D SOURCE=wavelarkctl/report -D CHART=chart.min.js -D OUTPUT=report_page.cc -P ...

cmake_minimum_required(VERSION 3.25)

file(READ "${SOURCE}/page.html" page)
file(READ "${SOURCE}/page.css" style)
file(READ "${SOURCE}/page.js" script)
file(READ "${SOURCE}/chart_licence.txt" licence)
file(READ "${CHART}" chart)
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")
string(REPLACE "@CHART_LICENCE@" "${licence}" page "${page}")
string(REPLACE "@CHART@" "${chart}" page "${page}")
file(WRITE "${OUTPUT}" "#include \"wavelarkctl/report/report_page.h\"

namespace orvane::wavelarkctl {

const std::string_view kReportPage = R\"WAVELARK(${page})WAVELARK\";

}  // namespace orvane::wavelarkctl
")
