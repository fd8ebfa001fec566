// Runs the benchmarks, and tells each in a line.

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

class Lines : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override {
        std::printf("%-32s %7s %6s  %-7s %11s %11s\n", "row", "ratio", "goal", "", "us", "raw us");
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::printf("%s: %s\n", nameOf(run).c_str(), run.error_message.c_str());
                continue;
            }
            benchmark::UserCounters more = run.counters;
            const auto take = [&more](const char* name) {
                const double value = more[name];
                more.erase(name);
                return value;
            };
            std::printf("%-32s %7.2f ", nameOf(run).c_str(), take("ratio"));
            if (const double goal = take("goal"); goal > 0) {
                std::printf("%6.2f", goal);
            } else {
                std::printf("%6s", "");
            }
            std::printf("  %-7s %11.1f %11.1f", run.report_label.c_str(), take("us"),
                        take("raw_us"));
            for (const auto& [name, value] : more) {
                std::printf("  %s %.2f", name.c_str(), value.value);
            }
            std::puts("");
            std::fflush(stdout);
        }
    }

private:
    /// Without what is the same for all.
    static std::string nameOf(const Run& run) {
        return run.run_name.function_name +
               (run.run_name.args.empty() ? "" : "/" + run.run_name.args);
    }
};

}  // namespace

int main(int count, char** words) {
    benchmark::Initialize(&count, words);
    if (benchmark::ReportUnrecognizedArguments(count, words)) {
        return 2;
    }
    Lines lines;
    benchmark::RunSpecifiedBenchmarks(&lines);
    return 0;
}
