// How many pixels get a result, and how many of these the right fringe order: on simulated scenes and on real captures.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>

#include "bench/accuracy/capture.h"
#include "bench/accuracy/report.h"
#include "bench/accuracy/ripple.h"

namespace {

using namespace measure;
using namespace measure::accuracy;

struct Options {
    std::vector<std::string> scenes, codings, captures;
    std::vector<double> gammas = {1, 2.2}, noises = {0, 2, 4};
    std::vector<int> bits = {8, 16}, steps = {3, 4};
    int width = 640, height = 480;
    std::string pictures;
    bool ripple = false, verbose = false;
    simulate::Capture capture;
};

bool Wanted(const std::vector<std::string>& wanted, const std::string& name) {
    if (wanted.empty()) return true;
    return std::any_of(wanted.begin(), wanted.end(),
                       [&](const std::string& w) { return name.find(w) != std::string::npos; });
}

std::vector<Conditions> AllConditions(const Options& options) {
    std::vector<Conditions> all;
    for (const int steps : options.steps)
        for (const int bits : options.bits)
            for (const double gamma : options.gammas)
                for (const double noise : options.noises) {
                    Conditions conditions{steps, options.capture};
                    conditions.capture.bits = bits;
                    conditions.capture.gamma = gamma;
                    conditions.capture.noise = noise;
                    all.push_back(conditions);
                }
    return all;
}

void Tell(const std::string& scene, const Coding& coding, const Conditions& conditions, const Outcome& outcome) {
    const simulate::Judgement& judgement = outcome.judgement;
    std::printf(
        "%s; %s; %s: right %.3f %%, valid %.3f %% of %d, stray %.3f %%, %.4f rad rms, %.0f ms, per surface %.3f\n",
        scene.c_str(), coding.name, conditions.Name().c_str(), 100 * judgement.right, 100 * judgement.valid,
        judgement.counted, 100 * judgement.stray, judgement.rms, 1000 * outcome.seconds, 100 * outcome.rightPerSurface);
    if (!outcome.refused.empty()) std::printf("    REFUSED: %s\n", outcome.refused.c_str());
    for (const std::string& warning : outcome.warnings) std::printf("    warning: %s\n", warning.c_str());
}

void Save(const Options& options, std::string name, const cv::Mat& picture) {
    if (options.pictures.empty()) return;
    for (char& c : name)
        if (c == ' ' || c == ',' || c == ':') c = '-';
    std::filesystem::create_directories(options.pictures);
    cv::imwrite(options.pictures + "/" + name + ".png", picture);
}

void RunScenes(const Options& options, Report& report, RippleReport& ripples) {
    const simulate::Rig rig = simulate::StandardRig({options.width, options.height});
    for (const simulate::StandardScene& standard : simulate::StandardScenes()) {
        if (!Wanted(options.scenes, standard.name)) continue;
        std::fprintf(stderr, "%s\n", standard.name);
        const simulate::Simulation simulation(standard.make(rig));
        if (options.ripple) {
            ripples.Add(standard.name, simulation);
            continue;
        }
        for (const Conditions& conditions : AllConditions(options))
            for (const Coding& coding : Codings()) {
                if (!Wanted(options.codings, coding.name)) continue;
                const Outcome outcome = Run(simulation, coding, conditions);
                report.Add(standard.name, coding, conditions, outcome);
                if (options.verbose) Tell(standard.name, coding, conditions, outcome);
                Save(options, standard.name + ("-" + std::string(coding.name)) + "-" + conditions.Name(),
                     outcome.judgement.picture);
            }
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Shares of valid pixels and of right fringe orders, on simulated scenes and on real captures");
    Options options;
    app.add_option("captures", options.captures, "folders of real captures with scan.json and references");
    app.add_option("--scene", options.scenes, "only scenes whose name contains this; \"none\" for captures alone");
    app.add_option("--coding", options.codings, "only codings whose name contains this");
    app.add_option("--gamma", options.gammas);
    app.add_option("--noise", options.noises, "grey levels of an 8-bit camera");
    app.add_option("--bits", options.bits);
    app.add_option("--steps", options.steps);
    app.add_option("--width", options.width);
    app.add_option("--height", options.height);
    app.add_option("--speckle", options.capture.speckle, "contrast of a grain that changes between pictures");
    app.add_option("--blur", options.capture.cameraBlur, "of the camera, sigma in pixels");
    app.add_option("--projector-blur", options.capture.projectorBlur, "sigma in projector pixels");
    app.add_option("--exposure", options.capture.exposure, "factor on all brightness");
    app.add_option("--shot", options.capture.shotNoise, "variance of noise per grey level");
    app.add_option("--pictures", options.pictures, "folder for pictures of right, wrong and missing pixels");
    app.add_flag("--ripple", options.ripple, "deviation of the phase with and without correction of ripple instead");
    app.add_flag("--verbose", options.verbose, "every case");
    for (CLI::Option* option : app.get_options()) option->allow_extra_args(option->get_positional());
    CLI11_PARSE(app, argc, argv);
    try {
        Report report;
        RippleReport ripples;
        RunScenes(options, report, ripples);
        if (options.ripple) {
            for (const std::string& folder : options.captures) ripples.AddCapture(folder);
            ripples.Print();
            return 0;
        }
        report.Print();
        for (const std::string& folder : options.captures) {
            for (const CaptureOutcome& outcome : JudgeCapture(folder)) {
                std::printf("%s\n", outcome.text.c_str());
                Save(options, std::filesystem::path(folder).filename().string() + "-" + outcome.name, outcome.picture);
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_accuracy: %s\n", error.what());
        return 1;
    }
}
