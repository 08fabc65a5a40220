// The factory floor, as the station's server tells it. Texts go in as text, never as HTML: aircraft say them.
"use strict";

const cards = new Map(); // by bus and address
const link = document.getElementById("link");
const ask = document.getElementById("ask");
let asked = null; // the aircraft that the open question is about

function idOf(aircraft) {
  return `${aircraft.bus}/${aircraft.address}`;
}

function minutes(seconds) {
  const whole = Math.floor(seconds);
  return `${Math.floor(whole / 60)}:${String(whole % 60).padStart(2, "0")}`;
}

function motionText(aircraft) {
  if (aircraft.state !== 3) return "";
  const loop = aircraft.loop ? `, ${aircraft.loop}` : "";
  return `motion ${aircraft.motion_number}: ${aircraft.motion}${loop}`;
}

function flightText(flight) {
  return `${flight.outcome} after ${minutes(flight.seconds)}: ${flight.what}`;
}

function list(element, texts) {
  element.replaceChildren(...texts.map((text) => Object.assign(document.createElement("li"), { textContent: text })));
}

function newCard(aircraft) {
  const card = document.getElementById("card").content.firstElementChild.cloneNode(true);
  card.querySelector("button").addEventListener("click", () => {
    asked = idOf(aircraft);
    document.getElementById("whom").textContent = card.querySelector(".name").textContent;
    ask.returnValue = "no";
    ask.showModal();
  });
  document.getElementById("floor").append(card);
  cards.set(idOf(aircraft), card);
  return card;
}

function show(aircraft) {
  const card = cards.get(idOf(aircraft)) ?? newCard(aircraft);
  const failed = aircraft.state === 9 || aircraft.error !== 0;
  card.className = aircraft.silent ? "silent" : failed ? "error" : aircraft.flying ? "flying" : "";
  card.querySelector(".name").textContent = aircraft.name;
  card.querySelector(".state").textContent = aircraft.silent ? "silent" : aircraft.state_text;
  card.querySelector(".motion").textContent = aircraft.silent
    ? `last heard ${minutes(aircraft.heard_seconds_ago)} ago`
    : `${motionText(aircraft)} (${minutes(aircraft.state_seconds)})`.trim();
  card.querySelector(".error").textContent = aircraft.error !== 0 ? aircraft.error_text : "";
  card.querySelector("button").disabled = aircraft.silent || aircraft.state === 0;
  list(card.querySelector(".flights"), aircraft.flights.map(flightText));
}

function showReports(names) {
  const items = names.map((name) => {
    const item = document.createElement("li");
    const anchor = Object.assign(document.createElement("a"), { textContent: name, target: "_blank", rel: "noopener" });
    anchor.href = `reports/${encodeURIComponent(name)}`;
    item.append(anchor);
    return item;
  });
  if (items.length === 0) items.push(Object.assign(document.createElement("li"), { textContent: "none yet" }));
  document.getElementById("reports").replaceChildren(...items);
}

async function stop(id) {
  const answer = cards.get(id).querySelector(".answer");
  answer.textContent = "asking …";
  try {
    const response = await fetch(`stop/${id}`, { method: "POST", headers: { "X-Vela-Station": "stop" } });
    answer.textContent = response.ok ? "" : `not stopped: ${(await response.json()).error}`;
  } catch {
    answer.textContent = "not stopped: the station does not answer";
  }
}

ask.addEventListener("close", () => {
  if (ask.returnValue === "stop" && asked !== null) stop(asked);
  asked = null;
});

const news = new EventSource("news");
news.onmessage = (message) => {
  const floor = JSON.parse(message.data);
  link.textContent = "live";
  link.className = "";
  floor.aircraft.forEach(show);
  document.getElementById("nobody").hidden = floor.aircraft.length > 0;
  showReports(floor.reports);
};
news.onerror = () => {
  link.textContent = "the station does not answer: what is shown is old";
  link.className = "lost";
};
