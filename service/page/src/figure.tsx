// SPDX-License-Identifier: Apache-2.0
// A chart of numbers over time with marked extremes, and a table of the same numbers.
import {useEffect, useLayoutEffect, useMemo, useRef, useState} from "preact/hooks";
import type {Extreme, Series} from "./api";
import {durationText, momentText, withUnit} from "./format";
import {type Picture, Plot} from "./plot";
import {areMany, drawnFirst, keyOf, type Reading, Readings} from "./readings";
import {byName} from "./sorting";
import {useTheme} from "./theme";

export interface ReportedExtreme extends Extreme {
  uri: string;
  document: string;  // title of the document at `uri`
}

interface FigureProps {
  id: string;
  title: string;
  from: number;  // seconds since 1970
  to: number;
  silentSince: number | undefined;  // seconds since 1970; undefined: the appliance is heard
  series: Series[];             // all in the same unit
  extremes: ReportedExtreme[];  // as the appliance reports them
  first?: number;               // index of the first line's colour
}

// The extremes that the appliance itself reports; its days end at its own midnight.
function ReportedExtremes({extremes}: {extremes: ReportedExtreme[]}) {
  if (extremes.length === 0) return null;
  const uris = [...new Set(extremes.map(({uri}) => uri))];
  const listed = (wanted: string) => extremes.filter(({uri}) => uri === wanted)
    .sort((one, other) => one.value - other.value)
    .map(({extreme, value, unit}) => `${extreme} ${withUnit(value, unit)}`).join(", ");
  const title = "Seven-day extremes as the appliance tells them";
  if (uris.length === 1) return <p class="told muted">{title}: {listed(uris[0]!)}</p>;
  return (
    <div class="told muted">{title}:
      <ul>{uris.map((uri) => (
        <li key={uri}>{extremes.find((one) => one.uri === uri)!.document}: {listed(uri)}</li>))}
      </ul>
    </div>
  );
}

// The series in the order of their names, each with its line. What stopped being sent, or belongs
// to an appliance that is not heard, is known up to its last value or the last heartbeat.
function readingsOf({series, to, silentSince}: FigureProps, on: ReadonlySet<string>): Reading[] {
  const many = areMany(series);
  return [...series].sort((one, other) => byName(one.name, other.name)).map((one, index) => {
    const {samples, min, max, present} = one;
    const last = samples.at(-1)?.[0] ?? -Infinity;
    const end = present ? Math.max(last, Math.min(silentSince ?? to, to)) : last;
    return {series: one, index, line: {samples, end, min, max, shown: !many || on.has(keyOf(one))}};
  });
}

// Keeps one plot in the element that it returns, and the time at the pointer.
function usePlot(picture: Picture) {
  const place = useRef<HTMLDivElement>(null);
  const plot = useRef<Plot>();
  const [cursor, setCursor] = useState<number>();
  const {dark} = useTheme();
  useLayoutEffect(() => {
    plot.current = new Plot(place.current!, picture, setCursor);
    return () => plot.current?.close();
  }, []);
  useLayoutEffect(() => plot.current?.show(picture), [picture]);
  useEffect(() => plot.current?.recolour(), [dark]);
  return {place, cursor};
}

export function Figure(props: FigureProps) {
  const {id, title, from, to, silentSince, series, extremes, first = 0} = props;
  const unit = series.find((one) => one.unit !== null)?.unit ?? null;
  const [on, setOn] = useState(() => drawnFirst(series));
  const readings = useMemo(() => readingsOf(props, on), [series, to, silentSince, on]);
  const picture = useMemo(() => ({from, to, unit, first, lines: readings.map(({line}) => line)}),
                          [readings, from, unit, first]);
  const {place, cursor} = usePlot(picture);
  return (
    <section class="card" aria-labelledby={id}>
      <div class="head">
        <h2 id={id}>{title}</h2>
        <span class="muted cursor">{cursor !== undefined
          ? `${momentText(new Date(cursor * 1000))}, ${durationText(to - cursor)} ago` : ""}</span>
      </div>
      <div class="plot" ref={place} role="img" aria-label={`${title}: the table below tells its extremes`} />
      <Readings readings={readings} unit={unit} first={first} time={cursor} to={to}
                silent={silentSince !== undefined} on={on} setOn={setOn} />
      <ReportedExtremes extremes={extremes} />
    </section>
  );
}
