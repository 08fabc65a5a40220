// drawMap(box, {areas, tracks, at, land}): restricted areas, the tracks of flights and where the service looks from. No
// tiles: coasts are lines, and rings around a start tell distances where no area does.
"use strict";

const EARTH_M = 6378137;
const NOWHERE = [0, 0];

// Drawn apart by dashes and grey values too: colours may be lost on paper.
const LEVELS = [
  { name: "level 0", style: { color: "#555555", dashArray: "2 6", fillOpacity: 0.08 } },
  { name: "level 1", style: { color: "#8a6d00", dashArray: "8 6", fillOpacity: 0.15 } },
  { name: "level 2", style: { color: "#b85c00", dashArray: "12 4 2 4", fillOpacity: 0.22 } },
  { name: "level 3 and above", style: { color: "#b00020", fillOpacity: 0.3 } },
];
const TRACKS = [
  { color: "#111111", weight: 2 },
  { color: "#0060a0", weight: 3, dashArray: "2 5" },
];

function levelOf(area) {
  return LEVELS[Math.min(area.level, LEVELS.length - 1)];
}

function text(tag, content) {
  const element = document.createElement(tag);
  element.textContent = content;
  return element;
}

// Metres north and east of a start, on a sphere that is flat over the length of a flight.
function placeOf(start, [north, east]) {
  const degrees = 180 / Math.PI / EARTH_M;
  return [start[0] + north * degrees, start[1] + (east * degrees) / Math.cos((start[0] * Math.PI) / 180)];
}

function whereIs(area) {
  return area.distance < 0 ? `${-area.distance} m inside` : `${area.distance} m to its edge`;
}

function describe(area) {
  const box = document.createElement("div");
  const shape = area.corners.length ? `polygon of ${area.corners.length}` : "circle";
  box.append(text("b", `area ${area.id}`), text("div", `level ${area.level}, ${shape}, radius ${area.radius} m`));
  box.append(text("div", `${area.start} to ${area.end}`));
  if (area.place) box.append(text("div", `${area.place}. nearest, ${whereIs(area)}`));
  return box;
}

function drawArea(layer, area) {
  const style = { weight: area.place ? 4 : 2, ...levelOf(area).style };
  const point = (position) => [position.lat, position.lon];
  const shape = area.corners.length
    ? L.polygon(area.corners.map(point), style)
    : L.circle(point(area.center), { radius: area.radius, ...style });
  shape.bindTooltip(() => describe(area), { sticky: true }).addTo(layer);
  if (!area.place) return;
  const number = L.tooltip({ permanent: true, direction: "center", className: "place" });
  number.setContent(String(area.place)).setLatLng(point(area.center)).addTo(layer);
}

// The circle by which alone distances to an area are measured is not its edge when it has corners.
function boundsOf(area) {
  if (area.corners.length) return L.latLngBounds(area.corners.map((one) => [one.lat, one.lon]));
  return L.latLng(area.center.lat, area.center.lon).toBounds(2 * area.radius);
}

function drawTrack(layer, track, index) {
  const start = track.start ?? NOWHERE;
  const line = track.path.map((point) => placeOf(start, point));
  L.polyline(line, { ...TRACKS[index % TRACKS.length], interactive: false }).addTo(layer);
  const end = line.at(-1) ?? start;
  L.circleMarker(start, { radius: 6, color: "#111", fill: false, weight: 2 }).bindTooltip("start").addTo(layer);
  L.circleMarker(end, { radius: 3, color: "#111", fillOpacity: 1 }).bindTooltip("end").addTo(layer);
  return L.latLngBounds([start, ...line]);
}

// Rings at one round distance and its multiples, as many as fit what was flown.
function drawRings(layer, track) {
  const reach = Math.max(1, ...track.path.map(([north, east]) => Math.hypot(north, east)));
  const power = 10 ** Math.floor(Math.log10(reach / 2));
  const step = [1, 2, 5, 10].map((one) => one * power).find((one) => reach / one <= 3.5);
  const start = track.start ?? NOWHERE;
  for (let radius = step; radius < reach + step; radius += step) {
    L.circle(start, { radius, color: "#888", weight: 1, dashArray: "1 4", fill: false, interactive: false }).addTo(layer);
    const label = L.tooltip({ permanent: true, direction: "right", className: "ring", offset: [-6, 0] });
    label.setContent(`${Number(radius.toPrecision(3))} m`).setLatLng(placeOf(start, [0, radius])).addTo(layer);
  }
}

function drawMap(box, { areas = [], tracks = [], at, land }) {
  box.classList.add("map");
  const map = L.map(box, { maxZoom: 25, zoomSnap: 0.25, zoomAnimation: false, fadeAnimation: false, scrollWheelZoom: false });
  map.attributionControl.setPrefix("Leaflet");
  L.control.scale({ imperial: false }).addTo(map);
  if (land) {
    L.geoJSON(land, { interactive: false, style: { color: "#777", weight: 1, fillColor: "#fff", fillOpacity: 1 } }).addTo(map);
    map.attributionControl.addAttribution("land: Natural Earth");
  }
  const bounds = L.latLngBounds([]);
  const layer = L.layerGroup();
  for (const area of areas) {
    drawArea(layer, area);
    bounds.extend(boundsOf(area));
  }
  if (tracks.length && !areas.length) drawRings(layer, tracks[0]);
  tracks.forEach((track, index) => bounds.extend(drawTrack(layer, track, index)));
  if (at) {
    L.circleMarker(at, { radius: 7, color: "#111", fillColor: "#fff", fillOpacity: 1, weight: 3 }).bindTooltip("here").addTo(layer);
    bounds.extend(at);
  }
  map.fitBounds(bounds.isValid() ? bounds.pad(0.15) : [[-60, -180], [80, 180]], { animate: false });
  layer.addTo(map);
  map.on("focus", () => map.scrollWheelZoom.enable());
  return map;
}

// A line of the key: how it is drawn, and what it is.
function keyItem(name, style) {
  const item = text("li", name);
  const line = `stroke="${style.color}" stroke-width="${style.weight ?? 3}" stroke-dasharray="${style.dashArray ?? ""}"`;
  item.insertAdjacentHTML("afterbegin", `<svg viewBox="0 0 42 12" aria-hidden="true"><path d="M0 6H42" ${line}/></svg>`);
  return item;
}
