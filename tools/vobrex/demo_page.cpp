#include "vobrex/demo_page.h"

#include <cstdio>

namespace vobrex::tool {

namespace {

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string Milliseconds(double ms) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f ms", ms);
  return text;
}

std::string SizeText(const DemoResult& r) {
  return std::to_string(r.width) + " &times; " + std::to_string(r.height);
}

constexpr const char* kStyle = R"(
body { font-family: sans-serif; margin: 2em; color: #222; background: #fafafa; }
table { border-collapse: collapse; margin: 0.5em 0 1em; }
th, td { padding: 0.2em 0.7em; border-bottom: 1px solid #ddd; text-align: left; }
td.n { text-align: right; font-variant-numeric: tabular-nums; }
tr.failed td { color: #a00; }
section { background: #fff; border: 1px solid #ddd; padding: 0.5em 1em; margin: 1em 0; }
.pair { display: flex; gap: 1em; flex-wrap: wrap; }
figure { margin: 0; width: 420px; }
figure img { width: 100%; image-rendering: pixelated; border: 1px solid #ccc; }
figcaption { font-size: 0.9em; color: #555; }
pre { font-size: 0.8em; columns: 3; }
)";

void SummaryTable(const DemoRun& run, std::string& html) {
  html +=
      "<table class=\"summary\">\n<tr><th>path</th><th>code</th><th>sub-mode</th>"
      "<th>output</th><th>raw bytes</th><th>synthesis</th><th>conversion</th>"
      "<th>PSNR R / G / B (dB)</th><th>note</th></tr>\n";
  for (const DemoResult& r : run.results) {
    html += r.converted ? "<tr>" : "<tr class=\"failed\">";
    html += "<td><a href=\"#" + ShortId(r.readout) + "\">" + PathName(r.readout.path) +
            "</a></td><td class=\"n\">" + std::to_string(r.readout.code) + "</td><td class=\"n\">" +
            std::to_string(r.readout.subMode) + "</td><td>" + SizeText(r) +
            "</td><td class=\"n\">" + std::to_string(r.rawBytes) + "</td><td class=\"n\">" +
            Milliseconds(r.synthesisMs) + "</td><td class=\"n\">" +
            (r.converted ? Milliseconds(r.conversionMs) : "&ndash;") + "</td><td class=\"n\">" +
            PsnrText(r) + "</td><td>" + Escape(ResultNote(r)) + "</td></tr>\n";
  }
  html += "</table>\n";
}

void Section(const DemoResult& r, std::string& html) {
  html += "<section id=\"" + ShortId(r.readout) + "\">\n<h3>" + Escape(Describe(r.readout)) +
          " &mdash; " + SizeText(r) + "</h3>\n<div class=\"pair\">\n";
  html += "<figure><img src=\"" + Escape(r.scenePicture) +
          "\" alt=\"scene\"><figcaption>scene (what the raw frame was synthesised from)"
          "</figcaption></figure>\n";
  if (r.converted) {
    html += "<figure><img src=\"" + Escape(r.picture) +
            "\" alt=\"converted\"><figcaption>converted by the library in " +
            Milliseconds(r.conversionMs) + "</figcaption></figure>\n";
  } else {
    html += "<figure><figcaption>no picture: " + Escape(r.error) + "</figcaption></figure>\n";
  }
  html += "</div>\n<table class=\"facts\">\n";
  html +=
      "<tr><th>raw frame</th><td>" +
      (r.rawFile.empty() ? std::string("not kept")
                         : "<a href=\"" + Escape(r.rawFile) + "\">" + Escape(r.rawFile) + "</a>") +
      ", " + std::to_string(r.rawBytes) + " bytes, synthesised in " + Milliseconds(r.synthesisMs) +
      "</td></tr>\n";
  html += "<tr><th>settings</th><td>" + Escape(r.keySettings) + "</td></tr>\n";
  html += "<tr><th>PSNR R / G / B</th><td>" + PsnrText(r) + " dB</td></tr>\n";
  const std::string note = ResultNote(r);
  if (!note.empty()) html += "<tr><th>note</th><td>" + Escape(note) + "</td></tr>\n";
  html += "</table>\n<details><summary>settings record</summary><pre>" + Escape(r.settings) +
          "</pre></details>\n</section>\n";
}

}  // namespace

std::string PsnrText(const DemoResult& r) {
  if (!r.measured) return "-";
  char text[64];
  std::snprintf(text, sizeof text, "%.1f / %.1f / %.1f", r.psnr[0], r.psnr[1], r.psnr[2]);
  return text;
}

std::string ResultNote(const DemoResult& r) {
  if (!r.converted) return "failed: " + r.error;
  if (r.zeroFrame) return "the synthesis gave an all-zero frame";
  return ReadoutNote(r.readout);
}

std::string DemoPage(const DemoRun& run) {
  std::string html =
      "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<title>vobrex demo</title>\n<style>" +
      std::string(kStyle) + "</style>\n</head>\n<body>\n<h1>vobrex demo</h1>\n";
  char facts[160];
  std::snprintf(facts, sizeof facts, "%zu read-outs in %.2f s on %d worker%s", run.results.size(),
                run.totalMs / 1000, run.jobs, run.jobs == 1 ? "" : "s");
  html += "<p>The built-in <b>" + Escape(run.pattern) +
          "</b> scene, drawn at each output size, synthesised into the raw frame of every "
          "read-out and converted back through the library's entry point for its path. " +
          std::string(facts) + ". Settings: " + Escape(run.settingsSummary) +
          ". PSNR compares each picture with its scene.</p>\n";
  SummaryTable(run, html);
  Path current = Path::kPreview;
  bool first = true;
  for (const DemoResult& r : run.results) {
    if (first || r.readout.path != current) {
      current = r.readout.path;
      first = false;
      html += std::string("<h2>") + PathName(current) + "</h2>\n";
    }
    Section(r, html);
  }
  html += "</body>\n</html>\n";
  return html;
}

}  // namespace vobrex::tool
