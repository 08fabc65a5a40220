// The flight report: one flight, or two in the same plots. Times are seconds since the take-off.
"use strict";

const report = JSON.parse(document.getElementById("report").textContent);
const runs = report.runs;
const section = (name) => document.getElementById(name);
const percent = (part) => `${(100 * part).toFixed(1)} %`;
const unitOf = (value, unit) => (value == null ? "–" : `${number(value, 3)} ${unit}`);

function make(tag, className, ...content) {
  const element = document.createElement(tag);
  element.className = className;
  element.append(...content);
  return element;
}

function fileName(path) {
  return path.split("/").pop();
}

function figuresOf(run) {
  const figures = [
    ["in the air", unitOf(run.seconds_in_air, "s")], ["flown", unitOf(run.path_m, "m")],
    ["highest", unitOf(run.highest_m, "m")], ["farthest", unitOf(run.farthest_m, "m")],
    ["worst tilt", unitOf(run.worst_tilt_deg, "°")], ["landed from its start", unitOf(run.landed_m, "m")],
  ];
  return make("dl", "figures", ...figures.map(([name, value]) => make("div", "", make("dt", "", name), make("dd", "", value))));
}

function aircraftOf(run) {
  const known = [];
  if (run.tag) {
    known.push(`aircraft ${run.tag.drone_sn || "without serial number"}, type ${run.tag.drone_type}`, `firmware ${run.tag.FCfirmware}`);
    known.push(`list ${run.tag.motionlist_uid}`, String(run.tag.test_date ?? "").trim());
  }
  if (run.info.seed !== undefined) known.push(`simulated, seed ${run.info.seed}`);
  const wind = Math.hypot(Number(run.info.wind_north_m_s ?? 0), Number(run.info.wind_east_m_s ?? 0));
  if (wind > 0) known.push(`wind ${number(wind)} m/s`);
  return known.filter(Boolean).join("; ");
}

function drawFlight(run, index) {
  const flown = run.verdict === "flown";
  const box = make("article", `flight ${run.verdict}`);
  const name = runs.length > 1 ? `${index + 1}. ` : "";
  box.append(make("p", "record", `${name}${run.record}`), make("p", "verdict", `${flown ? "✓" : "✗"} ${run.what}`));
  if (run.reasons.length) box.append(make("ul", "", ...run.reasons.map((reason) => make("li", "", reason))));
  box.append(figuresOf(run), make("p", "missing", aircraftOf(run)));
  if (run.missing.length) box.append(make("p", "missing", `Not there: ${run.missing.join("; ")}.`));
  section("flights").append(box);
}

function lane(name, spans, kindOf) {
  const [begin, end] = [report.times[0], report.times.at(-1)];
  const part = (time) => (100 * (time - begin)) / (end - begin);
  const bars = make("div", "");
  for (const span of spans) {
    const bar = make("div", `bar ${kindOf(span)}`, span.number ? `${span.number} ${span.loop || span.text}` : span.text);
    bar.title = `${span.text}: ${number(span.begin)} to ${number(span.end)} s`;
    bar.style.left = `${part(span.begin)}%`;
    bar.style.width = `${Math.max(0.1, part(span.end) - part(span.begin))}%`;
    bars.append(bar);
  }
  return make("div", "lane", make("span", "", name), bars);
}

function drawTimeline(run, index) {
  const since = (span) => ({ ...span, begin: span.begin - run.take_off_s, end: span.end - run.take_off_s });
  const box = section("timeline");
  if (runs.length > 1) box.append(make("h3", "", `${index + 1}. ${fileName(run.record)}`));
  box.append(lane("flight controller", run.modes.map(since), () => ""));
  if (run.states.length) box.append(lane("service", run.states.map(since), () => ""));
  box.append(lane("motions", run.motions.map(since), (span) => span.kind));
  const sweeps = run.sweeps.map((sweep) => since({ ...sweep, text: sweep.loop }));
  if (sweeps.length) box.append(lane("sweeps", sweeps, () => "sweep"));
}

function curve(name, unit, box, height, share = 1) {
  const styles = [["value", "command"], ["otherValue", "otherCommand"]];
  const series = runs.flatMap((run, index) => {
    const label = runs.length > 1 ? `${name} ${index + 1}` : name;
    return [
      { label: `${label} commanded`, style: styles[index][1], values: run.curves[`${name}_cmd`] },
      { label, style: styles[index][0], values: run.curves[name] },
    ];
  });
  drawPlot(box, { x: report.times, series, xLabel: "s", yLabel: `${name}, ${unit}`, height, share, sync: "time", least: 1 });
}

function timeKey() {
  if (runs.length === 1) return styleKey([["value", "measured"], ["command", "commanded, where its loop runs"]]);
  return styleKey([["value", "1. measured"], ["command", "1. commanded"], ["otherValue", "2. measured"], ["otherCommand", "2. commanded"]]);
}

function drawTimes() {
  for (const [name, unit] of [["roll", "°"], ["pitch", "°"], ["yaw", "°"]]) curve(name, unit, section("attitude"), 170);
  for (const [name, unit] of [["forward", "m/s"], ["right", "m/s"], ["climb", "m/s"]]) curve(name, unit, section("velocity"), 170);
  section("attitude").querySelector("h2").after(timeKey());
  section("velocity").querySelector("h2").after(timeKey());
  const start = runs[0].track.start;
  drawMap(section("path"), { tracks: runs.map((run) => ({ ...run.track, start })) });
  curve("height", "m", section("height"), 290, 0.49);
}

function stepTable(stepped, takeOff) {
  const head = make("tr", "", ...["at", "size", "rise 10–90 %", "overshoot", "settles to 5 %", "steady error"].map((one) => make("th", "", one)));
  const rows = stepped.steps.map((step) => make("tr", "", ...[
    `${number(step.begin - takeOff)} s`, unitOf(step.size, stepped.unit), unitOf(step.rise_s, "s"), percent(step.overshoot),
    unitOf(step.settle_s, "s"), `${step.steady_error.toFixed(3).replace("-0.000", "0.000")} ${stepped.unit}`,
  ].map((one) => make("td", "", one))));
  return make("table", "", head, ...rows);
}

function drawStep(stepped, title, takeOff) {
  const block = make("div", "step", make("h3", "", title));
  section("steps").append(block);
  if (stepped.why_not) return block.append(make("p", "remark", `Not measured: ${stepped.why_not}.`));
  const plot = make("div", "");
  block.append(make("div", "two", stepTable(stepped, takeOff), plot));
  const [x, command, value] = stepped.curves;
  drawPlot(plot, {
    x, xLabel: "s", yLabel: stepped.unit, height: 130, share: 0.34,
    series: [{ label: "commanded", style: "command", values: command }, { label: "measured", style: "value", values: value }],
  });
}

function marginText(sweep) {
  const said = [`${number(sweep.low_hz, 3)} to ${number(sweep.high_hz, 3)} Hz at point ${sweep.point}`];
  if (sweep.bandwidth_hz != null) said.push(`bandwidth ${number(sweep.bandwidth_hz, 3)} Hz`);
  if (sweep.phase_margin_deg != null) said.push(`phase margin ${number(sweep.phase_margin_deg, 3)}° at ${number(sweep.crossover_hz, 3)} Hz`);
  if (sweep.gain_margin_db != null) said.push(`gain margin ${number(sweep.gain_margin_db, 3)} dB at ${number(sweep.phase_crossover_hz, 3)} Hz`);
  return said.join("; ") + (sweep.remark ? `; ${sweep.remark}` : "");
}

// Another flight's sweep of the same loop, brought to this one's frequencies.
function beside(sweep, other, name) {
  const hz = other.response.hz;
  return sweep.response.hz.map((at) => {
    const right = hz.findIndex((one) => one >= at);
    if (right <= 0) return hz[0] === at ? other.response[name][0] : null;
    const part = Math.log(at / hz[right - 1]) / Math.log(hz[right] / hz[right - 1]);
    const [a, b] = [other.response[name][right - 1], other.response[name][right]];
    return a + part * (b - a);
  });
}

// What noise may make of a response: three standard deviations to either side.
function noiseBand(response, name) {
  if (name === "coherence") return undefined;
  const away = response.deviation.map((one) => {
    const part = 3 * Math.min(one, 0.3);
    return name === "phase_deg" ? [-part * 180 / Math.PI, part * 180 / Math.PI] : [20 * Math.log10(1 - part), 20 * Math.log10(1 + part)];
  });
  return [0, 1].map((side) => response[name].map((value, at) => value + away[at][side]));
}

function drawSweep(sweep, title, other) {
  const block = make("div", "sweep-block", make("h3", "", title));
  section("sweeps").append(block);
  if (sweep.why_not) return block.append(make("p", "remark", `Not measured: ${sweep.why_not}.`));
  block.append(make("p", "remark", marginText(sweep)));
  if (other) block.append(make("p", "remark", `2. flight: ${marginText(other)}`));
  const three = make("div", "three");
  block.append(three);
  const curves = [["magnitude_db", "magnitude, dB"], ["phase_deg", "phase, °"], ["coherence", "coherence"]];
  for (const [name, label] of curves) {
    const series = [{ label: label.split(",")[0], style: "value", values: sweep.response[name] }];
    if (other) series.push({ label: "2. flight", style: "otherValue", values: beside(sweep, other, name) });
    drawPlot(three, {
      x: sweep.response.hz, series, xLabel: "Hz", yLabel: label, height: 200, share: 0.33, log: true,
      sync: title, band: noiseBand(sweep.response, name), range: name === "coherence" ? [0, 1.02] : undefined, least: 1,
    });
  }
}

function drawMeasures(run, index) {
  const mine = runs.length > 1 ? `${index + 1}. flight: ` : "";
  for (const stepped of run.steps) drawStep(stepped, `${mine}${stepped.number} ${stepped.text}`, run.take_off_s);
  if (index > 0) return;
  run.sweeps.forEach((sweep, place) => {
    const same = (one) => one.loop === sweep.loop && one.point === sweep.point && !one.why_not;
    const nth = run.sweeps.slice(0, place).filter(same).length;
    drawSweep(sweep, `${sweep.loop}, from ${number(sweep.begin - run.take_off_s)} s on`, runs[1]?.sweeps.filter(same)[nth]);
  });
}

async function unpacked(base64) {
  const bytes = Uint8Array.from(atob(base64), (one) => one.charCodeAt(0));
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("gzip"));
  return new Blob([await new Response(stream).arrayBuffer()], { type: "text/csv" });
}

async function save(run) {
  const link = make("a", "");
  link.href = URL.createObjectURL(await unpacked(run.data.csv_gz));
  link.download = fileName(run.record).replace(/\.ulg$/, "") + ".csv";
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

function drawData(run) {
  const button = make("button", "no-print", `Save ${fileName(run.record)} as a table`);
  button.addEventListener("click", () => save(run));
  const rate = `${number(run.data.rate_hz)} rows a second`;
  section("data").append(make("p", "", button, `CSV, ${rate}. \`vela fc log ${run.record} --csv FILE\` gives all rows.`));
}

runs.forEach(drawFlight);
runs.forEach(drawTimeline);
section("timeline").append(make("div", "scale", ...[0, 0.25, 0.5, 0.75, 1].map((part) => {
  const [begin, end] = [report.times[0], report.times.at(-1)];
  return make("span", "", `${(begin + part * (end - begin)).toFixed(0)} s`);
})));
section("timeline").append(make("ul", "key", ...["step", "sweep"].map((kind) => make("li", "", make("span", `bar swatch ${kind}`), kind))));
drawTimes();
runs.forEach(drawMeasures);
if (!runs.some((run) => run.steps.length)) section("steps").append(make("p", "remark", "The list has no steps."));
if (!runs[0].sweeps.length) section("sweeps").append(make("p", "remark", "No loop was swept."));
runs.forEach(drawData);
document.title = `Flight report: ${runs.map((run) => fileName(run.record)).join(", ")}`;
document.documentElement.dataset.height = document.documentElement.scrollHeight;
