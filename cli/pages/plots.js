// Plots of the report: curves over time, and sweeps over frequency.
"use strict";

// Told apart by their dashes as well: colours may be lost on paper.
const STYLES = {
  value: { stroke: "#111111", width: 1.5 },
  command: { stroke: "#0060a0", width: 1.5, dash: [7, 4] },
  otherValue: { stroke: "#b85c00", width: 2, dash: [2, 3] },
  otherCommand: { stroke: "#7a7a7a", width: 1.5, dash: [9, 3, 2, 3] },
};
const SCREEN_WIDTH = 940;
const PAPER_WIDTH = 690;
const plots = [];

function number(value, digits = 4) {
  return value == null ? "–" : String(Number(value.toPrecision(digits)));
}

// What is nearly still is not blown up to the height of the plot.
function rangeOf(least) {
  return (_, low, high) => {
    if (low == null) return [0, least];
    const more = Math.max(0.05 * (high - low), (least - (high - low)) / 2);
    return [low - more, high + more];
  };
}

function axis(label, size) {
  return {
    label, size, labelSize: label ? 18 : 0, font: "12px system-ui", labelFont: "12px system-ui", gap: 3,
    grid: { stroke: "#ddd", width: 1 }, ticks: { stroke: "#bbb", width: 1, size: 4 },
  };
}

// `share` of the page's width; `least` height of the plot in the unit of its values. `series`: [{label, style, values}]. `band`:
// [lower, upper], grey behind them.
function drawPlot(box, { x, series, band, xLabel, yLabel, height, share = 1, log = false, sync, range, least = 0 }) {
  const frame = document.createElement("div");
  frame.className = "plot";
  frame.setAttribute("role", "img");
  frame.setAttribute("aria-label", `${series.map((one) => one.label).join(", ")} over ${xLabel}`);
  box.append(frame);
  const plot = new uPlot({
    width: Math.floor(SCREEN_WIDTH * share), height,
    scales: { x: { time: false, distr: log ? 3 : 1 }, y: { range: range ?? rangeOf(least) } },
    axes: [axis(xLabel, 28), axis(yLabel, 46)],
    cursor: { points: { size: 6 }, y: false, ...(sync ? { sync: { key: sync } } : {}) },
    legend: { markers: { width: 0 } },
    series: [
      { label: xLabel, value: (_, value) => number(value) },
      ...series.map((one) => ({ label: one.label, ...STYLES[one.style], points: { show: false }, value: (_, value) => number(value) })),
      ...(band ? ["at most", "at least"].map((label) => ({ label, stroke: "#aaa", width: 0.5, points: { show: false }, value: (_, value) => number(value) })) : []),
    ],
    bands: band ? [{ series: [series.length + 1, series.length + 2], fill: "#00000016" }] : undefined,
  }, [x, ...series.map((one) => one.values), ...(band ? [band[1], band[0]] : [])], frame);
  plots.push({ plot, share, height });
  return plot;
}

function fitPlots(width) {
  for (const { plot, share, height } of plots) plot.setSize({ width: Math.floor(width * share), height });
}

addEventListener("beforeprint", () => fitPlots(PAPER_WIDTH));
addEventListener("afterprint", () => fitPlots(SCREEN_WIDTH));

function styleKey(names) {
  const key = document.createElement("ul");
  key.className = "key";
  for (const [style, name] of names) {
    const { stroke, width, dash } = STYLES[style];
    key.append(keyItem(name, { color: stroke, weight: width + 0.5, dashArray: dash?.join(" ") }));
  }
  return key;
}
