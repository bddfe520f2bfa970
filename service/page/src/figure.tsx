// SPDX-License-Identifier: Apache-2.0
// A chart of numbers over time, with marked extremes, and a table of the same numbers.
import {useEffect, useRef, useState} from "preact/hooks";
import uPlot from "uplot";
import type {Extreme, Peak, Sample, Series} from "./api";
import {durationText, momentText, shortDay, withUnit} from "./format";
import {useTheme} from "./theme";

const HEIGHT = 216;  // as in the style sheet
const WIDE_DAY = 52;  // pixels for the name of a day
const COLOURS = 6;
const DASHES: readonly number[][] = [[], [7, 4], [2, 3], [10, 3, 2, 3], [4, 4], [12, 5]];
// Seconds for which a value is shown at most while no newer one comes. Appliances send every
// document at midnight, changed or not, so that a later value should have come by then.
const STANDS = 25 * 3600;
// With more series than this, only the outermost extremes are labelled with their numbers.
const LABELLED = 3;

export interface ReportedExtreme extends Extreme {
  uri: string;
  document: string;  // title of the document at `uri`
}

interface FigureProps {
  id: string;
  title: string;
  from: number;  // seconds since 1970
  to: number;
  series: Series[];         // all in the same unit
  extremes: ReportedExtreme[];  // as the appliance reports them
  first?: number;       // index of the first series' colour
}

// Times and values of one series up to `to`, with null where no value is known.
function columns(samples: Sample[], to: number): [number[], (number | null)[]] {
  const times: number[] = [];
  const values: (number | null)[] = [];
  samples.forEach(([time, value], i) => {
    times.push(time);
    values.push(value);
    const end = Math.min(time + STANDS, to);
    const next = samples[i + 1]?.[0] ?? Infinity;
    if (next <= end) return;
    if (end > time) {
      times.push(end);
      values.push(value);
    }
    if (end < to) {
      times.push(end + 1);
      values.push(null);
    }
  });
  return [times, values];
}

export function valueAt(samples: Sample[], time: number): number | undefined {
  let low = 0;
  let high = samples.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (samples[middle]![0] <= time) low = middle + 1;
    else high = middle;
  }
  const found = samples[low - 1];
  return found && time - found[0] <= STANDS ? found[1] : undefined;
}

function midnights(from: number, to: number): number[] {
  const found: number[] = [];
  const day = new Date(from * 1000);
  day.setHours(0, 0, 0, 0);
  for (; day.getTime() <= to * 1000; day.setDate(day.getDate() + 1)) {
    if (day.getTime() >= from * 1000) found.push(day.getTime() / 1000);
  }
  return found;
}

// A colour of the style sheet in a form that the canvas understands.
function colour(name: string): string {
  const probe = document.createElement("span");
  probe.style.color = `var(--${name})`;
  document.body.append(probe);
  const value = getComputedStyle(probe).color;
  probe.remove();
  return value;
}

// The colour of a series. Charts on one view have different `first`, and so different colours.
const colourOf = (index: number, first: number) => `series-${(first + index) % COLOURS + 1}`;

// Marks the lowest and the highest value of each series, each where it was first reached.
function markExtremes(plot: uPlot, {series, first = 0}: FigureProps, unit: string | null): void {
  plot.over.querySelectorAll(".extreme").forEach((mark) => mark.remove());
  const outermost = (end: "min" | "max") => {
    const values = series.flatMap((one) => one[end] ? [one[end].value] : []);
    return end === "min" ? Math.min(...values) : Math.max(...values);
  };
  const mark = (index: number, end: "min" | "max", peak: Peak) => {
    const labelled = series.length <= LABELLED || peak.value === outermost(end);
    const left = plot.valToPos(peak.time, "x");
    const span = document.createElement("span");
    span.className = `extreme ${end} ${left > plot.over.clientWidth / 2 ? "left" : "right"}`;
    span.style.left = `${left}px`;
    span.style.top = `${plot.valToPos(peak.value, "y")}px`;
    span.style.color = `var(--${colourOf(index, first)})`;
    if (labelled) {
      const text = document.createElement("b");
      text.textContent = withUnit(peak.value, unit);
      span.append(text);
    }
    plot.over.append(span);
  };
  series.forEach((one, index) => {
    if (one.max) mark(index, "max", one.max);
    if (one.min && one.min.value !== one.max?.value) mark(index, "min", one.min);
  });
}

function options(width: number, figure: FigureProps, unit: string | null,
                 onCursor: (time: number | undefined) => void): uPlot.Options {
  const {from, to, series, first = 0} = figure;
  const axis = {stroke: colour("muted"), font: "12px system-ui, sans-serif",
                grid: {stroke: colour("line"), width: 1}, ticks: {show: false}};
  return {
    width,
    height: HEIGHT,
    padding: [16, 12, 0, 0],
    legend: {show: false},
    cursor: {y: false, drag: {x: false, y: false}, points: {show: false}},
    scales: {
      x: {range: () => [from, to]},
      y: {range: (_, low, high) => {
        const room = Math.max((high - low) * 0.2, 0.5);
        return [low - room, high + room];
      }},
    },
    axes: [
      {...axis, size: 42, splits: (plot) => {
        const days = midnights(from, to);
        const every = Math.ceil(days.length * WIDE_DAY / Math.max(plot.over.clientWidth, 1));
        return days.filter((_, i) => (days.length - 1 - i) % every === 0);
      }, values: (_, times) => times.map(shortDay)},
      {...axis, size: 62, space: 32, values: (_, values) => values.map((value) => withUnit(value, unit))},
    ],
    series: [{}, ...series.map((one, index): uPlot.Series => ({
      label: one.name,
      stroke: colour(colourOf(index, first)),
      width: 1.75,
      dash: DASHES[index % DASHES.length]!,
      paths: uPlot.paths.stepped!({align: 1}),
      points: {show: false},
    }))],
    hooks: {
      draw: [(plot) => markExtremes(plot, figure, unit)],
      setCursor: [(plot) => {
        const {left} = plot.cursor;
        onCursor(left === undefined || left < 0 ? undefined : plot.posToVal(left, "x"));
      }],
    },
  };
}

function Swatch({index, first}: {index: number; first: number}) {
  const dash = DASHES[index % DASHES.length]!.join(" ");
  return (
    <svg class="swatch" viewBox="0 0 22 8" aria-hidden="true">
      <path d="M0 4h22" stroke={`var(--${colourOf(index, first)})`} stroke-width="2.2" stroke-dasharray={dash} />
    </svg>
  );
}

function PeakCell({peak, unit}: {peak: Peak | null; unit: string | null}) {
  if (!peak) return <td class="number muted">None</td>;
  return <td class="number">{withUnit(peak.value, unit)}
    <span class="under muted">{momentText(new Date(peak.time * 1000))}</span></td>;
}

interface RowProps {
  series: Series;
  index: number;
  first: number;
  unit: string | null;
  time: number | undefined;  // the time whose values are shown; undefined: now
  to: number;
}

function Row({series, index, first, unit, time, to}: RowProps) {
  const known = time !== undefined || series.present;
  const value = known ? valueAt(series.samples, time ?? to) : undefined;
  return (
    <tr data-pointer={series.pointer} data-samples={series.samples.length}>
      <th scope="row"><Swatch index={index} first={first} />{series.name}
        {!series.present && <span class="under muted">No longer sent</span>}</th>
      <td class="number current">{value === undefined ? <span class="muted">None</span> : withUnit(value, unit)}</td>
      <PeakCell peak={series.min} unit={unit} />
      <PeakCell peak={series.max} unit={unit} />
    </tr>
  );
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

export function Figure(props: FigureProps) {
  const {id, title, to, series, extremes, first = 0} = props;
  const unit = series[0]?.unit ?? null;
  const place = useRef<HTMLDivElement>(null);
  const [cursor, setCursor] = useState<number>();
  const {dark} = useTheme();

  useEffect(() => {
    const at = place.current!;
    const data = uPlot.join(series.map((one) => columns(one.samples, to) as uPlot.AlignedData));
    const plot = new uPlot(options(at.clientWidth, props, unit, setCursor), data, at);
    const observer = new ResizeObserver(() => plot.setSize({width: at.clientWidth, height: HEIGHT}));
    observer.observe(at);
    return () => {
      observer.disconnect();
      plot.destroy();
    };
  }, [series, dark]);

  return (
    <section class="card" aria-labelledby={id}>
      <div class="head">
        <h2 id={id}>{title}</h2>
        <span class="muted cursor">{cursor !== undefined
          ? `${momentText(new Date(cursor * 1000))}, ${durationText(to - cursor)} ago` : ""}</span>
      </div>
      <div class="plot" ref={place} role="img" aria-label={`${title}: the table below tells its extremes`} />
      <div class="scroll">
        <table class="readings">
          <thead><tr><th scope="col">Reading</th><th scope="col" class="number">{cursor === undefined ? "Now" : "Then"}</th>
            <th scope="col" class="number">Lowest</th><th scope="col" class="number">Highest</th></tr></thead>
          <tbody>{series.map((one, index) => (
            <Row key={one.uri + one.member} series={one} index={index} first={first} unit={unit} time={cursor} to={to} />))}</tbody>
        </table>
      </div>
      <ReportedExtremes extremes={extremes} />
    </section>
  );
}
