// node check.js RECORD VELA: what a reader that is not ours finds in the record, against what `vela fc log` says of it.
"use strict";
const assert = require("node:assert/strict");
const { execFileSync } = require("node:child_process");
const { MessageType, ULog } = require("@foxglove/ulog");
const { FileReader } = require("@foxglove/ulog/node");

const [record, vela] = process.argv.slice(2);
const RATE_HZ = 200;
const STEP_US = 1e6 / RATE_HZ;
const FLIGHT_S = 16;

// Columns of the table by topic and field.
const TABLE = {
  mode: { display_mode: "mode", flight_state: "state" },
  commands: {
    roll_deg: "roll_cmd_deg", pitch_deg: "pitch_cmd_deg", yaw_deg: "yaw_cmd_deg",
    roll_rate_deg_s: "roll_rate_cmd_deg_s", pitch_rate_deg_s: "pitch_rate_cmd_deg_s",
    yaw_rate_deg_s: "yaw_rate_cmd_deg_s", forward_m_s: "forward_cmd_m_s", right_m_s: "right_cmd_m_s",
    climb_m_s: "climb_cmd_m_s", climb_acceleration_m_s2: "climb_acceleration_cmd_m_s2", north_m: "north_cmd_m",
    east_m: "east_cmd_m", height_m: "height_cmd_m",
  },
  attitude: { roll_deg: "roll_deg", pitch_deg: "pitch_deg", yaw_deg: "yaw_deg" },
  rates: { roll_deg_s: "roll_rate_deg_s", pitch_deg_s: "pitch_rate_deg_s", yaw_deg_s: "yaw_rate_deg_s" },
  velocity: { forward_m_s: "forward_m_s", right_m_s: "right_m_s", climb_m_s: "climb_m_s" },
  position: { north_m: "north_m", east_m: "east_m", height_m: "height_m" },
  excitation: {
    loop: "sweep_loop", point: "sweep_point", value: "sweep_value", frequency_hz: "sweep_hz", phase_rad: "sweep_phase_rad",
  },
};

const MARKERS = [
  "mode 11 (take-off)", "took off", "mode 6 (hold)", "mode 17 (external control)", "motion 1 starts: hover",
  "motion 1 ends", "motion 2 starts: sweep, attitude x", "sweep starts: attitude x at point 0", "sweep ends",
  "motion 2 ends", "mode 12 (landing)", "mode 6 (hold)", "motors off",
];

function tool(...more) {
  return execFileSync(vela, ["fc", "log", record, ...more], { encoding: "utf8", maxBuffer: 1 << 28 });
}

function table() {
  const [head, ...lines] = tool("--csv", "-").trimEnd().split("\n").map((line) => line.split(","));
  return lines.map((cells) => Object.fromEntries(head.map((name, i) => [name, cells[i]])));
}

async function read() {
  const ulog = new ULog(new FileReader(record));
  await ulog.open();
  const rows = {};
  const markers = [];
  for await (const message of ulog.readMessages()) {
    if (message.type === MessageType.Log) markers.push(message);
    if (message.type !== MessageType.Data) continue;
    (rows[ulog.subscriptions.get(message.msgId).name] ??= []).push(message.value);
  }
  return { header: ulog.header, rows, markers };
}

// The table has six digits, and nothing for what is not a number.
function sameValue(value, cell, where) {
  if (Number.isNaN(value)) return assert.equal(cell, "", where);
  assert.notEqual(cell, "", where);
  assert.ok(Math.abs(value - Number(cell)) <= 5.1e-6 * Math.abs(value), `${where}: ${value} is ${cell} in the table`);
}

function checkRows(rows, cells) {
  assert.deepEqual(Object.keys(rows).sort(), Object.keys(TABLE).sort());
  for (const [topic, fields] of Object.entries(TABLE)) {
    assert.equal(rows[topic].length, RATE_HZ * FLIGHT_S, topic);
    assert.equal(cells.length, RATE_HZ * FLIGHT_S);
    rows[topic].forEach((row, i) => {
      assert.equal(Number(row.timestamp), (i + 1) * STEP_US, `${topic} ${i}`);
      assert.equal(Math.round(Number(cells[i].time_s) * 1e6), (i + 1) * STEP_US);
      assert.deepEqual(Object.keys(row).sort(), ["timestamp", ...Object.keys(fields)].sort());
      for (const [field, column] of Object.entries(fields)) sameValue(row[field], cells[i][column], `${topic}.${field} ${i}`);
    });
  }
  const columns = Object.values(TABLE).flatMap((fields) => Object.values(fields));
  assert.deepEqual(Object.keys(cells[0]).sort(), ["time_s", ...columns].sort());
}

function checkFlight(rows) {
  assert.ok(Math.max(...rows.position.map((row) => row.height_m)) > 1, "it flew");
  assert.ok(rows.commands.some((row) => Number.isNaN(row.height_m)), "a loop that does not run has no command");
  const swept = rows.excitation.filter((row) => row.loop !== 0);
  assert.equal(swept.length, 2 * RATE_HZ);
  assert.ok(swept[0].frequency_hz < 1.1 && swept.at(-1).frequency_hz > 4.9);
}

async function main() {
  const { header, rows, markers } = await read();
  const cells = table();
  checkRows(rows, cells);
  checkFlight(rows);
  assert.deepEqual(markers.map((marker) => marker.message), MARKERS);
  const said = JSON.parse(tool("--json"));
  assert.deepEqual(said.markers, markers.map((one) => ({ seconds: Number(one.timestamp) / 1e6, text: one.message })));
  assert.equal(header.information.get("sys_name"), "vela simulated aircraft");
  assert.equal(header.information.get("seed"), 7n);
  assert.equal(header.parameters.get("POSITION_GAIN").value, 0.5);
  assert.equal(said.cut_at, null);
  console.log(`${Object.keys(rows).length} topics, ${cells.length} rows each, ${markers.length} markers: both readers agree`);
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
