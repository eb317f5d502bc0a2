#include "Clip.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <chrono>

namespace clip {

namespace {

cv::Mat make_scene()
{
    cv::Mat noise(height / 4, width / 4, CV_8U);
    cv::RNG random(7);
    random.fill(noise, cv::RNG::UNIFORM, 100, 150);
    cv::Mat grey;
    cv::resize(noise, grey, {width, height}, 0, 0, cv::INTER_LINEAR);
    cv::Mat scene;
    cv::cvtColor(grey, scene, cv::COLOR_GRAY2BGR);
    return scene;
}

cv::Mat make_frame(const cv::Mat& scene, int number)
{
    cv::Mat frame = scene.clone();
    for (const Actor& actor : actors())
        if (actor.first <= number && number <= actor.last)
            cv::rectangle(frame, actor.box_at(number), actor.bgr, cv::FILLED);
    return frame;
}

} // namespace

const std::vector<Actor>& actors()
{
    constexpr auto object = ns__ObjectClass__object;
    constexpr auto vehicle = ns__ObjectClass__vehicle;
    static const std::vector<Actor> all = {
        {ns__ColorPreset__red, {20, 20, 220}, object, 12, 52, {20, 30, 40, 40}, {4, 0}},
        {ns__ColorPreset__light_green, {60, 220, 60}, object, 22, 60, {30, 180, 42, 36}, {5, 0}},
        {ns__ColorPreset__dark_blue, {130, 30, 20}, object, 32, 75, {265, 105, 38, 38}, {-4, 0}},
        {ns__ColorPreset__yellow, {30, 230, 230}, object, 62, 100, {260, 25, 44, 32}, {-4, 1}},
        {ns__ColorPreset__orange, {10, 140, 250}, object, 84, 118, {250, 180, 40, 40}, {-5, 0}},
        {ns__ColorPreset__white, {250, 250, 250}, vehicle, 94, 124, {20, 110, 84, 36}, {5, 0}},
    };
    return all;
}

void write(const std::string& path, int times)
{
    Recorder_Settings settings;
    settings.size = {width, height};
    settings.fps = fps;
    write(path, settings, times);
}

void write(const std::string& path, const Recorder_Settings& settings, int times)
{
    Recorder recorder(path, settings);
    const cv::Mat scene = make_scene();
    for (int i = 0; i < times * frames; ++i)
        recorder.write(make_frame(scene, i % frames),
                       std::chrono::microseconds(1'000'000) * i / fps);
    recorder.finish();
}

} // namespace clip
