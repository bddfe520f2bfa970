// SPDX-License-Identifier: Apache-2.0
// The table of a chart: the values and the extremes of each line. It is the chart's legend, and
// with many lines the place where they are switched.
import {useState} from "preact/hooks";
import type {Peak, Sample, Series} from "./api";
import {momentText, withUnit} from "./format";
import {colourOf, dashOf, type Line, sampleAt} from "./plot";
import {byName, SortHeading} from "./sorting";
import {Scroll} from "./states";

// With more lines than this, only the outermost are drawn until the reader switches others on.
const MANY = 6;

export const keyOf = ({uri, member}: Series) => `${uri} ${member}`;

export const areMany = (series: Series[]) => series.length > MANY;

// The series with the highest and with the lowest present values; all of them if they are few.
export function drawnFirst(series: Series[]): ReadonlySet<string> {
  if (!areMany(series)) return new Set(series.map(keyOf));
  const known = series.filter(({present, samples}) => present && samples.length > 0)
    .sort((one, other) => one.samples.at(-1)![1] - other.samples.at(-1)![1]);
  return new Set([...known.slice(0, MANY / 2), ...known.slice(-MANY / 2)].map(keyOf));
}

// A series as it is drawn and told.
export interface Reading {
  series: Series;
  line: Line;
  index: number;  // of its colour
}

function Swatch({index, first}: {index: number; first: number}) {
  return (
    <svg class="swatch" viewBox="0 0 22 8" aria-hidden="true">
      <path d="M0 4h22" stroke={`var(--${colourOf(index, first)})`} stroke-width="2.2"
            stroke-dasharray={dashOf(index).join(" ")} />
    </svg>
  );
}

const timeText = (time: number) => momentText(new Date(time * 1000));

function PeakCell({peak, unit}: {peak: Peak | null; unit: string | null}) {
  if (!peak) return <td class="number muted">None</td>;
  return <td class="number">{withUnit(peak.value, unit)}
    <span class="under muted">{timeText(peak.time)}</span></td>;
}

interface ValueCellProps {
  sample: Sample | undefined;
  last: Sample | undefined;
  unit: string | null;
}

// A value with the time at which it came. Where none is known, the last one that was.
function ValueCell({sample, last, unit}: ValueCellProps) {
  if (sample) {
    return <td class="number"><span class="current">{withUnit(sample[1], unit)}</span>
      <span class="under muted">{timeText(sample[0])}</span></td>;
  }
  return <td class="number muted"><span class="current">None</span>
    {last && <span class="under">last {withUnit(last[1], unit)}, {timeText(last[0])}</span>}</td>;
}

type Column = "name" | "value" | "min" | "max";

interface Order {
  by: Column;
  down: boolean;
}

interface ReadingsProps {
  readings: Reading[];
  unit: string | null;
  first: number;
  time: number | undefined;  // whose values are shown; undefined: the newest
  to: number;
  silent: boolean;           // the newest values may not be those of now
  on: ReadonlySet<string>;
  setOn: (on: ReadonlySet<string>) => void;
}

function sampleOf({series, line}: Reading, {time, to, silent}: ReadingsProps): Sample | undefined {
  if (time !== undefined) return sampleAt(line, time);
  if (!series.present) return undefined;
  return silent ? series.samples.at(-1) : sampleAt(line, to);
}

function sorted(props: ReadingsProps, {by, down}: Order): Reading[] {
  const way = down ? -1 : 1;
  const number = (one: Reading) =>
    by === "min" || by === "max" ? one.series[by]?.value : sampleOf(one, props)?.[1];
  return [...props.readings].sort((one, other) => {
    if (by === "name") return way * byName(one.series.name, other.series.name);
    const [left, right] = [number(one), number(other)];
    if (left !== undefined && right !== undefined) return way * (left - right);
    // What has no number stands last in either direction.
    return Number(left === undefined) - Number(right === undefined);
  });
}

function Row({reading, props}: {reading: Reading; props: ReadingsProps}) {
  const {series, index} = reading;
  const {readings, unit, first, time, on, setOn} = props;
  const key = keyOf(series);
  const name = <><Swatch index={index} first={first} />{series.name}</>;
  const many = areMany(readings.map((one) => one.series));
  const toggle = () => {
    const next = new Set(on);
    if (!next.delete(key)) next.add(key);
    setOn(next);
  };
  return (
    <tr data-pointer={series.pointer} data-samples={series.samples.length}>
      <th scope="row">
        {many
          ? <span class="line">
              <label><input type="checkbox" checked={on.has(key)} onChange={toggle} />{name}</label>
              <button class="quiet only" aria-label={`Only this: ${series.name}`}
                      onClick={() => setOn(new Set([key]))}>Only this</button>
            </span>
          : name}
        {!series.present && <span class="under muted">No longer sent</span>}</th>
      <ValueCell sample={sampleOf(reading, props)} unit={unit}
                 last={time === undefined ? series.samples.at(-1) : undefined} />
      <PeakCell peak={series.min} unit={unit} />
      <PeakCell peak={series.max} unit={unit} />
    </tr>
  );
}

function Hidden({readings, on, setOn}: ReadingsProps) {
  const hidden = readings.filter(({series}) => !on.has(keyOf(series))).length;
  return (
    <p class="lines muted">
      <span role="status">{hidden > 0 ? `${hidden} of ${readings.length} lines are hidden.`
                                      : `All ${readings.length} lines are shown.`}</span>
      {hidden > 0 && <button class="quiet" onClick={() =>
        setOn(new Set(readings.map(({series}) => keyOf(series))))}>Show all</button>}
    </p>
  );
}

export function Readings(props: ReadingsProps) {
  const {readings, time, silent} = props;
  const [order, setOrder] = useState<Order>({by: "name", down: false});
  const many = areMany(readings.map(({series}) => series));
  const heading = (by: Column, title: string) => {
    const style = by === "name" ? {} : {class: "number"};
    if (!many) return <th scope="col" {...style}>{title}</th>;
    const chosen = order.by === by;
    const press = () => setOrder({by, down: chosen ? !order.down : by === "value" || by === "max"});
    return <SortHeading title={title} press={press} {...style}
                        order={chosen ? order.down ? "descending" : "ascending" : undefined} />;
  };
  return (
    <>
      {many && <Hidden {...props} />}
      <Scroll name="Readings">
        <table class="readings">
          <thead><tr>
            {heading("name", "Reading")}
            {heading("value", time !== undefined ? "Then" : silent ? "Last" : "Now")}
            {heading("min", "Lowest")}{heading("max", "Highest")}
          </tr></thead>
          <tbody>{sorted(props, order).map((one) => (
            <Row key={keyOf(one.series)} reading={one} props={props} />))}</tbody>
        </table>
      </Scroll>
    </>
  );
}
