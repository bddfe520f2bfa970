// SPDX-License-Identifier: Apache-2.0
// The drawn part of a chart: lines over time with marked extremes. It is made once and then
// changed, so that the pointer and the reader's eye keep their place in it.
import uPlot from "uplot";
import type {Peak, Sample} from "./api";
import {shortDay, withUnit} from "./format";

const HEIGHT = 216;  // as in the style sheet
const WIDE_DAY = 52;  // pixels for the name of a day
const WIDE_NUMBER = 62;
const COLOURS = 6;
const DASHES: readonly number[][] = [[], [7, 4], [2, 3], [10, 3, 2, 3], [4, 4], [12, 5]];
// Seconds for which a value is shown at most while no newer one comes. Appliances send every
// document at midnight, changed or not, so that a later value should have come by then.
const STANDS = 25 * 3600;
// With more lines than this, only the outermost extremes are labelled with their numbers.
const LABELLED = 3;

export interface Line {
  samples: Sample[];
  end: number;  // seconds since 1970: nothing is known of the number afterwards
  min: Peak | null;
  max: Peak | null;
  shown: boolean;
}

export interface Picture {
  from: number;  // seconds since 1970
  to: number;
  unit: string | null;
  first: number;  // index of the first line's colour
  lines: Line[];
}

// The sample whose value stood at a time, if it was known then.
export function sampleAt({samples, end}: Line, time: number): Sample | undefined {
  if (time > end) return undefined;
  let low = 0;
  let high = samples.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (samples[middle]![0] <= time) low = middle + 1;
    else high = middle;
  }
  const found = samples[low - 1];
  return found && time - found[0] <= STANDS ? found : undefined;
}

// The colour of a line. Charts on one view have different `first`, and so different colours.
export const colourOf = (index: number, first: number) => `series-${(first + index) % COLOURS + 1}`;

// The dashes of a line. They shift whenever the colours begin anew, so that 36 lines differ.
export const dashOf = (index: number) =>
  DASHES[(index + Math.floor(index / COLOURS)) % DASHES.length]!;

// Times and values of one line, with null where no value is known.
function columns({samples, end}: Line, to: number): [number[], (number | null)[]] {
  const times: number[] = [];
  const values: (number | null)[] = [];
  samples.forEach(([time, value], i) => {
    times.push(time);
    values.push(value);
    const until = Math.min(time + STANDS, end);
    const next = samples[i + 1]?.[0] ?? Infinity;
    if (next <= until) return;
    if (until > time) {
      times.push(until);
      values.push(value);
    }
    const after = Math.max(time, until);
    if (after < to && after + 1 < next) {
      times.push(after + 1);
      values.push(null);
    }
  });
  return [times, values];
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

function outermost(lines: Line[], end: "min" | "max"): number {
  const values = lines.flatMap((one) => one.shown && one[end] ? [one[end].value] : []);
  return end === "min" ? Math.min(...values) : Math.max(...values);
}

// Marks the lowest and the highest value of each shown line, each where it was first reached.
function markExtremes(plot: uPlot, {lines, first, unit}: Picture): void {
  plot.over.querySelectorAll(".extreme").forEach((mark) => mark.remove());
  const few = lines.filter(({shown}) => shown).length <= LABELLED;
  const mark = (index: number, end: "min" | "max", peak: Peak) => {
    const left = plot.valToPos(peak.time, "x");
    const span = document.createElement("span");
    span.className = `extreme ${end} ${left > plot.over.clientWidth / 2 ? "left" : "right"}`;
    span.style.left = `${left}px`;
    span.style.top = `${plot.valToPos(peak.value, "y")}px`;
    span.style.color = `var(--${colourOf(index, first)})`;
    if (few || peak.value === outermost(lines, end)) {
      const text = document.createElement("b");
      text.textContent = withUnit(peak.value, unit);
      span.append(text);
    }
    plot.over.append(span);
  };
  lines.forEach(({shown, min, max}, index) => {
    if (shown && max) mark(index, "max", max);
    if (shown && min && min.value !== max?.value) mark(index, "min", min);
  });
}

export class Plot {
  private readonly colours = new Map<string, string>();
  private readonly plot: uPlot;
  private readonly observer: ResizeObserver;

  // Draws nothing yet, at `place`. `onCursor` is told the time at the pointer, or that there is
  // none.
  constructor(place: HTMLElement, private picture: Picture,
              private readonly onCursor: (time: number | undefined) => void) {
    this.plot = new uPlot(this.options(place.clientWidth), [[]], place);
    this.observer = new ResizeObserver(() =>
      this.plot.setSize({width: place.clientWidth, height: HEIGHT}));
    this.observer.observe(place);
  }

  show(picture: Picture): void {
    this.picture = picture;
    const {lines, to} = picture;
    const {plot} = this;
    plot.batch(() => {
      while (plot.series.length <= lines.length) plot.addSeries(this.line(plot.series.length - 1));
      // A line looks as its place in the row says, so that a spare one is kept for the next.
      plot.series.forEach(({show}, i) => {
        const shown = lines[i - 1]?.shown ?? false;
        if (i > 0 && show !== shown) plot.setSeries(i, {show: shown});
      });
      const spare = plot.series.slice(lines.length + 1).map(() => [[], []]);
      const drawn = lines.map((one) => columns(one, to));
      plot.setData(uPlot.join([...drawn, ...spare] as uPlot.AlignedData[]));
    });
  }

  // Draws anew in the colours that the style sheet has now.
  recolour(): void {
    this.colours.clear();
    this.plot.redraw(false);
  }

  close(): void {
    this.observer.disconnect();
    this.plot.destroy();
  }

  private colour(name: string): string {
    const known = this.colours.get(name) ?? colour(name);
    this.colours.set(name, known);
    return known;
  }

  private line(index: number): uPlot.Series {
    return {
      stroke: () => this.colour(colourOf(index, this.picture.first)),
      width: 1.75,
      dash: dashOf(index),
      paths: uPlot.paths.stepped!({align: 1}),
      points: {show: false},
    };
  }

  private axes(): uPlot.Axis[] {
    const axis = {stroke: () => this.colour("muted"), font: "12px system-ui, sans-serif",
                  grid: {stroke: () => this.colour("line"), width: 1}, ticks: {show: false}};
    return [
      {...axis, size: 42, splits: (plot) => {
        const days = midnights(this.picture.from, this.picture.to);
        const wide = Math.max(plot.width - WIDE_NUMBER - WIDE_DAY / 2, 1);
        const every = Math.ceil(days.length * WIDE_DAY / wide);
        return days.filter((_, i) => (days.length - 1 - i) % every === 0);
      }, values: (_, times) => times.map(shortDay)},
      {...axis, size: WIDE_NUMBER, space: 32,
       values: (_, values) => values.map((value) => withUnit(value, this.picture.unit))},
    ];
  }

  private options(width: number): uPlot.Options {
    return {
      width,
      height: HEIGHT,
      padding: [16, WIDE_DAY / 2, 0, 0],  // the name of the last day is whole
      legend: {show: false},
      cursor: {y: false, drag: {x: false, y: false}, points: {show: false}},
      scales: {
        x: {range: () => [this.picture.from, this.picture.to]},
        y: {range: (_, low, high) => {
          if (low === null || high === null) return [null, null];
          const room = Math.max((high - low) * 0.2, 0.5);
          return [low - room, high + room];
        }},
      },
      axes: this.axes(),
      series: [{}],
      hooks: {
        draw: [(plot) => markExtremes(plot, this.picture)],
        setCursor: [(plot) => {
          const {left} = plot.cursor;
          this.onCursor(left === undefined || left < 0 ? undefined : plot.posToVal(left, "x"));
        }],
      },
    };
  }
}
