// SPDX-License-Identifier: Apache-2.0
// Temperature and humidity over seven days, and any other number on demand.
import {useEffect, useRef, useState} from "preact/hooks";
import {api, type ApplianceDetail, type History, isHeard, type Quantified, type Quantity,
        type Resource, type Series, serviceNow} from "./api";
import {Figure, type ReportedExtreme} from "./figure";
import {Notice, Shown} from "./states";
import {concerns, useChanges} from "./live";
import {type Loaded, useLoad, useSpaced} from "./load";
import {byName} from "./sorting";
import {recall, remember, tab} from "./store";

const DAYS = 7;
const REFRESH = 300_000;
const SPACING = 15_000;  // milliseconds between loads; documents may change every second
const MOST_SAMPLES = 1_000;
// The service answers at most this many series of a document at once.
const MOST_SERIES = 50;

const QUANTITIES: readonly Quantity[] = ["temperature", "humidity"];
const COLOURS: Record<Quantity, number> = {temperature: 0, humidity: 2};
const TITLES: Record<Quantity, string> = {temperature: "Temperature", humidity: "Humidity"};

interface Span {
  from: number;  // seconds since 1970
  to: number;
}

interface Drawn extends Span {
  series: Series[];
  extremes: ReportedExtreme[];
}

// Until when the appliance is known, in seconds since 1970, if it is not heard now.
const silentSince = (one: ApplianceDetail): number | undefined =>
  isHeard(one) ? undefined : one.lastHeartbeat ? Date.parse(one.lastHeartbeat) / 1000 : -Infinity;

type Labelled = <T extends Quantified>(number: T) => T;

type Label = Pick<Quantified, "name" | "unit" | "quantity">;

// The service knows name, unit and quantity of a number by what stands around it. Of one whose
// place in the document is gone they are what they were while this tab saw them.
function useLabels(uuid: string): {labelled: Labelled; keepLabels: () => void} {
  const place = `labels ${uuid}`;
  const known = useRef<Map<string, Label>>();
  known.current ??= new Map<string, Label>(JSON.parse(recall(place, tab) ?? "[]"));
  const labelled: Labelled = (number) => {
    const key = `${number.uri} ${number.member}`;
    if (!number.present) return {...number, ...known.current!.get(key)};
    const {name, unit, quantity} = number;
    known.current!.set(key, {name, unit, quantity});
    return number;
  };
  return {labelled, keepLabels: () => remember(place, JSON.stringify([...known.current!]), tab)};
}

function lastDays(): Span {
  const to = Math.floor(serviceNow() / 1000);
  return {from: to - DAYS * 24 * 3600, to};
}

// The title of each document: its name, followed by its address where others have the same name.
function titlesOf(documents: Resource[]): Map<string, string> {
  return new Map(documents.map(({uri, name}) => {
    const alone = documents.every((other) => other.uri === uri || other.name !== name);
    return [uri, alone ? name : `${name} (${uri})`];
  }));
}

// The extremes in the histories, each once: a document that was loaded number by number repeats its
// extremes in every history.
function extremesOf(histories: History[], titles: Map<string, string>): ReportedExtreme[] {
  const found = new Map<string, ReportedExtreme>();
  for (const {uri, extremes} of histories) {
    for (const one of extremes) {
      found.set(`${uri} ${one.pointer}`, {...one, uri, document: titles.get(uri) ?? uri});
    }
  }
  return [...found.values()];
}

// Loads the histories of the temperatures and humidities among `numbers`: with one request for each
// document, or for each number of a document that has too many.
async function loadAll(uuid: string, numbers: Quantified[], labelled: Labelled,
                       signal: AbortSignal): Promise<Drawn> {
  const wanted = numbers.filter((number) => number.quantity !== null);
  const span = lastDays();
  const uris = [...new Set(wanted.map((number) => number.uri))];
  const asked = uris.flatMap((uri) => {
    const few = numbers.filter((number) => number.uri === uri).length <= MOST_SERIES;
    if (few) return [{uri}];
    return wanted.filter((number) => number.uri === uri).map(({member}) => ({uri, member}));
  });
  const since = new Date(span.from * 1000).toISOString().replace(/\.\d+/, "");
  const [histories, documents] = await Promise.all([
    Promise.all(asked.map((query) =>
      api.history(uuid, {...query, since, points: MOST_SAMPLES}, signal))),
    uris.length > 1 ? api.resources(uuid, signal) : [],
  ]);
  return {
    ...span,
    series: histories.flatMap(({series}) => series.map(labelled)),
    extremes: extremesOf(histories, titlesOf(documents)),
  };
}

interface QuantityChartProps {
  quantity: Quantity;
  drawn: Drawn;
  silentSince: number | undefined;
}

// The charts of a quantity: one for each unit, since a chart has one scale. What is no longer sent
// and has lost its unit stays among the others.
function QuantityChart({quantity, drawn, silentSince}: QuantityChartProps) {
  const all = drawn.series.filter((one) => one.quantity === quantity);
  const told = all.find((one) => one.present || one.unit !== null)?.unit ?? null;
  const series = all.map((one) => one.present || one.unit !== null ? one : {...one, unit: told});
  const extremes = drawn.extremes.filter((one) => one.quantity === quantity);
  const units = [...new Set(series.map(({unit}) => unit))];
  const title = (unit: string | null) =>
    units.length === 1 ? TITLES[quantity] : `${TITLES[quantity]} ${unit ? `in ${unit}` : "without unit"}`;
  return (
    <>{units.map((unit, i) => (
      <Figure key={unit} id={i === 0 ? quantity : `${quantity}-${i + 1}`} {...drawn}
              first={COLOURS[quantity]} silentSince={silentSince}
              title={`${title(unit)}, ${DAYS} days`}
              series={series.filter((one) => one.unit === unit)}
              extremes={extremes.filter((one) =>
                one.unit === unit || (i === 0 && !units.includes(one.unit)))} />
    ))}</>
  );
}

function useFollowed(uuid: string, loaded: Pick<Loaded<unknown>, "reload">): void {
  const spaced = useSpaced(loaded.reload, SPACING);
  useChanges((change) => {
    if (!concerns(change, uuid, "resource")) return;
    if (change.type === "resource") spaced();
    else loaded.reload();
  });
}

function OneNumber({one, number}: {one: ApplianceDetail; number: Quantified}) {
  const {uuid} = one;
  const {uri, member, name, unit} = number;
  const loaded = useLoad(`${uri} ${member}`, async (signal) => {
    const span = lastDays();
    const {series} = await api.history(uuid, {uri, member, points: MOST_SAMPLES}, signal);
    return {...span, series, extremes: []};
  });
  useFollowed(uuid, loaded);
  return (
    <Shown of={loaded} what="the history" rows={3}>{(drawn) =>
      <Figure id="other" title={name} {...drawn} silentSince={silentSince(one)} first={3}
              series={drawn.series.map((series) => ({...series, name, unit}))} />}
    </Shown>
  );
}

function Others({one, numbers}: {one: ApplianceDetail; numbers: Quantified[]}) {
  const [chosen, setChosen] = useState("");
  const name = (number: Quantified) => `${number.uri} ${number.member}`;
  const number = numbers.find((one) => name(one) === chosen);
  if (numbers.length === 0) return null;
  return (
    <section class="card" aria-labelledby="others">
      <div class="head">
        <h2 id="others">Another value</h2>
        <select aria-label="Value" value={chosen}
                onChange={(event) => setChosen((event.target as HTMLSelectElement).value)}>
          <option value="">Choose one</option>
          {[...numbers].sort((left, right) => byName(left.name, right.name)).map((one) => (
            <option key={name(one)} value={name(one)}>{one.name}{one.present ? "" : " (no longer sent)"}</option>))}
        </select>
      </div>
      {number && <OneNumber key={chosen} one={one} number={number} />}
    </section>
  );
}

export function Charts({one}: {one: ApplianceDetail}) {
  const {uuid} = one;
  const {labelled, keepLabels} = useLabels(uuid);
  const loaded = useLoad("", async (signal) => {
    const numbers = (await api.numbers(uuid, signal)).map(labelled);
    keepLabels();
    return {numbers, drawn: await loadAll(uuid, numbers, labelled, signal)};
  });
  useFollowed(uuid, loaded);
  useEffect(() => {
    const timer = setInterval(loaded.reload, REFRESH);
    return () => clearInterval(timer);
  }, []);
  return (
    <Shown of={loaded} what="the histories" rows={5}>{({numbers, drawn}) => (
      <>
        {drawn.series.some((series) => series.quantity !== null)
          ? QUANTITIES.map((quantity) => (
              <QuantityChart key={quantity} quantity={quantity} drawn={drawn}
                             silentSince={silentSince(one)} />))
          : <section class="card"><h2>Temperature and humidity</h2>
              <Notice icon="point" title="No readings yet">
                This appliance has sent neither temperatures nor humidity in the last {DAYS} days.
              </Notice></section>}
        <Others one={one} numbers={numbers.filter((number) => number.quantity === null)} />
      </>
    )}</Shown>
  );
}
