// Temperature and humidity over seven days, and any other number on demand.
import {useEffect, useState} from "preact/hooks";
import {api, type Extreme, type History, type Quantified, type Quantity, type Series, serviceNow} from "./api";
import {Figure} from "./figure";
import {Notice, Shown} from "./states";
import {concerns, useChanges} from "./live";
import {useLoad} from "./load";

const DAYS = 7;
const REFRESH = 300_000;
const MOST_SAMPLES = 1_000;
// A document's history names no more series than these at once.
const MOST_SERIES = 50;

const COLOURS: Record<Quantity, number> = {temperature: 0, humidity: 2};
const TITLES: Record<Quantity, string> = {temperature: "Temperature", humidity: "Humidity"};

interface Span {
  from: number;  // seconds since 1970
  to: number;
}

interface Drawn extends Span {
  series: Series[];
  extremes: Extreme[];
}

function lastDays(): Span {
  const to = Math.floor(serviceNow() / 1000);
  return {from: to - DAYS * 24 * 3600, to};
}

function joined(span: Span, histories: History[]): Drawn {
  return {
    ...span,
    series: histories.flatMap((history) => history.series),
    extremes: histories.flatMap((history) => history.extremes),
  };
}

// The documents that hold `wanted`; a number at a time where a document holds too many.
async function loadAll(uuid: string, numbers: Quantified[], signal: AbortSignal): Promise<Drawn> {
  const wanted = numbers.filter((number) => number.quantity !== null);
  const span = lastDays();
  const uris = [...new Set(wanted.map((number) => number.uri))];
  const asked = uris.flatMap((uri) => {
    const few = numbers.filter((number) => number.uri === uri).length <= MOST_SERIES;
    if (few) return [{uri}];
    return wanted.filter((number) => number.uri === uri).map(({pointer}) => ({uri, pointer}));
  });
  const since = new Date(span.from * 1000).toISOString().replace(/\.\d+/, "");
  return joined(span, await Promise.all(asked.map((query) =>
    api.history(uuid, {...query, since, points: MOST_SAMPLES}, signal))));
}

function Quantities({drawn}: {drawn: Drawn}) {
  const shown = (["temperature", "humidity"] as const).filter((quantity) =>
    drawn.series.some((series) => series.quantity === quantity));
  return (
    <>{shown.map((quantity) => (
      <Figure key={quantity} id={quantity} title={`${TITLES[quantity]}, ${DAYS} days`} {...drawn} first={COLOURS[quantity]}
              series={drawn.series.filter((series) => series.quantity === quantity)}
              extremes={drawn.extremes.filter((extreme) => extreme.quantity === quantity)} />
    ))}</>
  );
}

function OneNumber({uuid, number}: {uuid: string; number: Quantified}) {
  const {uri, pointer} = number;
  const loaded = useLoad(`${uri} ${pointer}`, async (signal) => {
    const span = lastDays();
    return joined(span, [await api.history(uuid, {uri, pointer, points: MOST_SAMPLES}, signal)]);
  });
  useChanges((change) => {
    if (concerns(change, uuid, "resource")) loaded.reload();
  });
  return (
    <Shown of={loaded} what="the history" rows={3}>{(drawn) =>
      <Figure id="other" title={number.name} {...drawn} extremes={[]} first={3} />}
    </Shown>
  );
}

function Others({uuid, numbers}: {uuid: string; numbers: Quantified[]}) {
  const [chosen, setChosen] = useState("");
  const name = (number: Quantified) => `${number.uri} ${number.pointer}`;
  const number = numbers.find((one) => name(one) === chosen);
  if (numbers.length === 0) return null;
  return (
    <section class="card" aria-labelledby="others">
      <div class="head">
        <h2 id="others">Another value</h2>
        <select aria-label="Value" value={chosen}
                onChange={(event) => setChosen((event.target as HTMLSelectElement).value)}>
          <option value="">Choose one</option>
          {numbers.map((one) => <option key={name(one)} value={name(one)}>{one.name}</option>)}
        </select>
      </div>
      {number && <OneNumber key={chosen} uuid={uuid} number={number} />}
    </section>
  );
}

export function Charts({uuid}: {uuid: string}) {
  const loaded = useLoad("", async (signal) => {
    const numbers = await api.numbers(uuid, signal);
    return {numbers, drawn: await loadAll(uuid, numbers, signal)};
  });
  useChanges((change) => {
    if (concerns(change, uuid, "resource")) loaded.reload();
  });
  useEffect(() => {
    const timer = setInterval(loaded.reload, REFRESH);
    return () => clearInterval(timer);
  }, []);
  return (
    <Shown of={loaded} what="the histories" rows={5}>{({numbers, drawn}) => (
      <>
        {drawn.series.some((series) => series.quantity !== null)
          ? <Quantities drawn={drawn} />
          : <section class="card"><h2>Temperature and humidity</h2>
              <Notice icon="point" title="No readings yet">
                This appliance has sent neither temperatures nor humidity in the last {DAYS} days.
              </Notice></section>}
        <Others uuid={uuid} numbers={numbers.filter((number) => number.quantity === null)} />
      </>
    )}</Shown>
  );
}
