// SPDX-License-Identifier: Apache-2.0
// A document as tables: a single value is a row, a list of objects is a table of its own.
import {numberText} from "./format";
import {Scroll} from "./states";

type Item = Record<string, unknown>;

const isObject = (value: unknown): value is Item =>
  typeof value === "object" && value !== null && !Array.isArray(value);
const isTable = (value: unknown): value is Item[] =>
  Array.isArray(value) && value.length > 0 && value.every(isObject);

// Units by the last word of a name, or by the text of a member with units, in lower case. The
// service reads them the same way for histories.
const UNITS: ReadonlyMap<string, string> = new Map([
  ["celsius", "°C"], ["cel", "°C"], ["fahrenheit", "°F"], ["kelvin", "K"], ["percent", "%"],
  ["%rh", "%"], ["volts", "V"], ["amps", "A"], ["amperes", "A"], ["watts", "W"],
  ["kilowatts", "kW"], ["rpm", "rpm"], ["pascals", "Pa"], ["kilopascals", "kPa"], ["bar", "bar"],
  ["hertz", "Hz"], ["hz", "Hz"], ["seconds", "s"], ["minutes", "min"], ["hours", "h"],
  ["meters", "m"], ["liters", "l"],
]);
const WHOLE_NAMES: readonly [name: RegExp, unit: string][] = [
  [/^(Highest|Lowest)Temperature$/, "°C"],
  [/^(Highest|Lowest)Humidity$/, "%"],
  [/kPa$/, "kPa"],
];

// The words of a name: "Fan", "Speed", "RPM" of "FanSpeedRPM".
const wordsOf = (name: string) =>
  name.replace(/([^A-Z])([A-Z])|([A-Z])(?=[A-Z][a-z])/g, (_, one, two, three) =>
    three ? `${three} ` : `${one} ${two}`).split(" ");

// The unit of a number: from its name, or from the member beside it that gives units.
export function unitOf(name: string, beside: Item): string {
  const told = beside[`${name}Units`];
  if (typeof told === "string") return UNITS.get(told.toLowerCase()) ?? told;
  const whole = WHOLE_NAMES.find(([wanted]) => wanted.test(name));
  if (whole) return whole[1];
  const words = wordsOf(name);
  return words.length > 1 ? UNITS.get(words.at(-1)!.toLowerCase()) ?? "" : "";
}

// The label of a name: "Reading celsius" of "ReadingCelsius". Runs of capitals stay.
export function label(name: string): string {
  const words = name.replace(/([a-z\d])([A-Z])/g, "$1 $2").split(" ");
  return words.map((word, i) => i === 0 || /^[A-Z]{2}/.test(word) ? word : word.toLowerCase()).join(" ");
}

function Value({name, value, beside}: {name: string; value: unknown; beside: Item}) {
  if (value === null || value === undefined || value === "") return <span class="muted">None</span>;
  if (typeof value === "number") {
    const unit = unitOf(name, beside);
    return <span class="number">{numberText(value)}{unit && `\u202f${unit}`}</span>;
  }
  if (typeof value === "boolean") return <>{value ? "Yes" : "No"}</>;
  if (typeof value === "string") return <>{value}</>;
  if (Array.isArray(value) && value.length === 0) return <span class="muted">None</span>;
  if (Array.isArray(value) && !value.some((one) => typeof one === "object" && one !== null)) {
    return <>{value.map(String).join(", ")}</>;
  }
  return <code>{JSON.stringify(value)}</code>;
}

// The members that the tables show. Names with "@" concern the protocol only; the JSON shows them.
const shown = (item: Item) => Object.entries(item).filter(([name]) => !name.startsWith("@"));

function Rows({item}: {item: Item}) {
  const rows = shown(item).filter(([, value]) => !isTable(value) && !isObject(value));
  if (rows.length === 0) return null;
  return (
    <table class="values"><tbody>{rows.map(([name, value]) => (
      <tr key={name}><th scope="row" title={name}>{label(name)}</th>
        <td><Value name={name} value={value} beside={item} /></td></tr>))}
    </tbody></table>
  );
}

function Grid({items}: {items: Item[]}) {
  const names = [...new Set(items.flatMap((item) => shown(item).map(([name]) => name)))];
  const numeric = (name: string) => items.every((item) => typeof item[name] === "number");
  return (
    <Scroll name="Values"><table class="values grid">
      <thead><tr>{names.map((name) => (
        <th key={name} scope="col" title={name} class={numeric(name) ? "number" : ""}>{label(name)}</th>))}
      </tr></thead>
      <tbody>{items.map((item, i) => (
        <tr key={i}>{names.map((name) => (
          <td key={name} class={numeric(name) ? "number" : ""}>
            <Value name={name} value={item[name]} beside={item} /></td>))}</tr>))}
      </tbody>
    </table></Scroll>
  );
}

function Part({item, path}: {item: Item; path: string[]}) {
  const inner = shown(item).filter(([, value]) => isTable(value) || isObject(value));
  return (
    <>
      {path.length > 0 && shown(item).length > inner.length && <h3>{path.map(label).join(" › ")}</h3>}
      <Rows item={item} />
      {inner.map(([name, value]) => isTable(value)
        ? <div key={name}><h3>{[...path, name].map(label).join(" › ")}</h3><Grid items={value} /></div>
        : <Part key={name} item={value as Item} path={[...path, name]} />)}
    </>
  );
}

export function Readable({document}: {document: Item}) {
  if (shown(document).length === 0) return <p class="muted">The document is empty.</p>;
  return <div class="readable"><Part item={document} path={[]} /></div>;
}
