#include <examples/parameter_sweep/client/Output.h>
#include <examples/parameter_sweep/client/Plot.h>
#include <examples/parameter_sweep/common/Packages.h>

#include <boost/process.hpp>
#include <cmath>
#include <csignal>
#include <iterator>

namespace ParameterSweep {

namespace {

namespace bp = boost::process;

/// The drawing instructions with their data. What is not a finite number leaves a gap.
std::string plotScript(const SweepResult& result) {
  std::string script =
      "set terminal svg size 900,500\nset xlabel 'realization'\nset ylabel 'result'\nset grid\nunset key\n"
      "$data << END\n";
  for (const Realization& realization : result.realizations) {
    script += std::to_string(realization.realizationId) + " " +
              (std::isfinite(realization.value) ? toText(realization.value) : "NaN") + "\n";
  }
  return script + "END\nplot $data using 1:2 with linespoints pointtype 7 pointsize 0.3\n";
}

}  // namespace

void plot(const SweepResult& result, const std::string& file) {
  const auto program = bp::search_path("gnuplot");
  if (program.empty()) {
    throw SweepFailure(FailureKind::LocalFailure, "gnuplot cannot be found; install it, or leave --plot out");
  }
  // The exit code tells of a gnuplot that ends before it has read everything.
  const auto onBrokenPipe = std::signal(SIGPIPE, SIG_IGN);
  bp::opstream script;
  bp::ipstream drawing;
  bp::child gnuplot(program, bp::std_in<script, bp::std_out> drawing, bp::std_err > bp::null);
  script << plotScript(result) << std::flush;
  script.pipe().close();
  const std::string svg{std::istreambuf_iterator<char>(drawing), {}};
  gnuplot.wait();
  static_cast<void>(std::signal(SIGPIPE, onBrokenPipe));
  if (gnuplot.exit_code() != 0 || svg.empty()) {
    throw SweepFailure(FailureKind::LocalFailure, "gnuplot could not draw the result");
  }
  writeOutput(file, svg);
}

}  // namespace ParameterSweep
