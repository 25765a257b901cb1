/* Devices by name: what the gateway knows of who is in the home network. */
import { state } from "./store.js";

const deviceOf = (mac) =>
  (state.loaded.devices?.devices ?? []).find(
    (one) => one.mac === mac?.toLowerCase() || (mac && one.given_name === mac),
  );

export function nameOfMac(mac) {
  const name = deviceOf(mac)?.name;
  return name && name !== mac ? `${name} (${mac})` : mac;
}

export const shortName = (mac) => deviceOf(mac)?.name ?? mac;
