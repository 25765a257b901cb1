/* The filters as the pages show them: which sections of the settings belong together. */
export const filters = {
  traffic: {
    sections: ["ip_filter", "ip6_filter"],
    list: "rules",
    modes: ["upstream", "downstream"],
    ordered: true,
  },
  names: { sections: ["url_filter"], list: "entries", modes: ["mode"] },
  devices: {
    sections: ["mac_filter", "mac6_filter"],
    list: "devices",
    modes: ["mode"],
    together: true,
  },
  addresses: { sections: ["dhcp_filter"], list: "devices", modes: ["mode"] },
  access: { sections: ["acl"], list: "entries", modes: [], ordered: true },
  portal: { sections: ["captive_portal"], list: "destinations", modes: [] },
};

export const families = {
  ip_filter: "IPv4",
  ip6_filter: "IPv6",
  mac_filter: "IPv4",
  mac6_filter: "IPv6",
};

export function filterOfSection(section) {
  return Object.keys(filters).find((name) => filters[name].sections.includes(section));
}

/* Where the setting of a path such as "mac_filter.devices[0]" can be seen. */
export function pageOfPath(path) {
  const filter = filterOfSection(path.split(/[.[]/)[0]);
  return filter ? `filters/${filter}` : "overview";
}

/* The rows of a filter: an entry, and where it stands. A device that both families list alike is one row. */
export function rowsOf(filter, settings) {
  const { sections, list, together } = filters[filter];
  const rows = [];
  for (const section of sections) {
    (settings[section]?.[list] ?? []).forEach((entry, index) => {
      const text = JSON.stringify(entry);
      const twin =
        together &&
        rows.find((row) => row.text === text && !row.at.some((at) => at.section === section));
      if (twin) twin.at.push({ section, index });
      else rows.push({ text, entry, at: [{ section, index }] });
    });
  }
  return rows;
}

export const pathsOf = (filter, row) =>
  row.at.map(({ section, index }) => `${section}.${filters[filter].list}[${index}]`);
