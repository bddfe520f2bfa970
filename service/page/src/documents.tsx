// SPDX-License-Identifier: Apache-2.0
// The documents that an appliance keeps here, each opened on demand.
import {useState} from "preact/hooks";
import {api, type Resource} from "./api";
import {Age, Moment} from "./format";
import {concerns, useChanges} from "./live";
import {useLoad} from "./load";
import {Readable} from "./readable";
import {Notice, Shown} from "./states";

function Opened({uuid, uri}: {uuid: string; uri: string}) {
  const [raw, setRaw] = useState(false);
  const loaded = useLoad(uri, (signal) => api.resource(uuid, uri, signal));
  useChanges((change) => {
    if (concerns(change, uuid, "resource")) loaded.reload();
  });
  const choice = (text: string, value: boolean) => (
    <button aria-pressed={raw === value} onClick={() => setRaw(value)}>{text}</button>
  );
  return (
    <div class="document">
      <div class="switch" role="group" aria-label="Form">{choice("Table", false)}{choice("JSON", true)}</div>
      <Shown of={loaded} what="the document" rows={3}>{({document}) => raw
        ? <pre tabIndex={0} role="group" aria-label="JSON">{JSON.stringify(document, null, 2)}</pre>
        : <Readable document={document} />}
      </Shown>
    </div>
  );
}

function Item({uuid, resource}: {uuid: string; resource: Resource}) {
  const [open, setOpen] = useState(false);
  return (
    <details data-uri={resource.uri}
             onToggle={(event) => setOpen((event.target as HTMLDetailsElement).open)}>
      <summary>
        <span class="document-name">{resource.name}</span>
        {resource.type && resource.type !== resource.name && <span class="tag">{resource.type}</span>}
        <span class="code muted uri">{resource.uri}</span>
        <span class="muted updated"><span class="wider"><Moment time={resource.updated} />, </span>
          <Age time={resource.updated} /></span>
      </summary>
      {open && <Opened uuid={uuid} uri={resource.uri} />}
    </details>
  );
}

export function Documents({uuid}: {uuid: string}) {
  const loaded = useLoad("", (signal) => api.resources(uuid, signal));
  useChanges((change) => {
    if (concerns(change, uuid, "resource")) loaded.reload();
  });
  return (
    <section class="card" aria-labelledby="documents">
      <h2 id="documents">Documents</h2>
      <Shown of={loaded} what="the documents">{(items) => items.length > 0
        ? <div class="documents">{items.map((resource) =>
            <Item key={resource.uri} uuid={uuid} resource={resource} />)}</div>
        : <Notice icon="empty" title="No documents yet">This appliance has sent none.</Notice>}
      </Shown>
    </section>
  );
}
