// SPDX-License-Identifier: Apache-2.0
// How the first appliance is connected, with the commands filled in.
import {api} from "./api";
import {Icon} from "./icons";
import {useLoad} from "./load";
import {Shown} from "./states";

export function FirstSteps() {
  const session = useLoad("", () => api.session());
  return (
    <div class="first">
      <p class="notice-title"><Icon name="empty" />No appliance has registered yet</p>
      <Shown of={session} what="the commands" rows={2}>{({command}) => (
        <ol>
          <li>Where this service runs, make an account. The command prints a key for its appliances.
            <pre tabIndex={0}>{command} account add you@example.org</pre></li>
          <li>On the appliance, say what device it has: from what a sensor of the machine, an agent or
            a controller offers, or by hand.
            <pre tabIndex={0}>cloudclientctl device init --help</pre></li>
          <li>On the appliance, connect it. The command asks for the account's address, the key and a
            name, tries each, and waits for the registration.
            <pre tabIndex={0}>cloudclientctl setup --url {location.origin}</pre></li>
        </ol>
      )}</Shown>
      <p class="muted">The appliance appears here as soon as it registers.</p>
    </div>
  );
}
