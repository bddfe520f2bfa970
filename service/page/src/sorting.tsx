// SPDX-License-Identifier: Apache-2.0
// Orders: names as people count, and the headings of columns that can be sorted.

const collator = new Intl.Collator(undefined, {numeric: true});

// Puts "Fan 2" before "Fan 10".
export const byName = (one: string, other: string) => collator.compare(one, other);

interface SortHeadingProps {
  title: string;
  order: "ascending" | "descending" | undefined;  // of the rows, if this column gives it
  press: () => void;
  class?: string;
}

export function SortHeading({title, order, press, ...rest}: SortHeadingProps) {
  const arrow = order && (order === "descending" ? "↓" : "↑");
  return (
    <th scope="col" {...rest} {...(order ? {"aria-sort": order} : {})}>
      <button class="sort" onClick={press}>
        {title}<span class="arrow" aria-hidden="true">{arrow}</span>
      </button>
    </th>
  );
}
