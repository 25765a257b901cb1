/* Which page is shown: the part of the address behind "#". Back and forward work by themselves. */
import { useEffect, useState } from "preact/hooks";

export function place() {
  const [path, query] = location.hash.replace(/^#\/?/, "").split("?");
  return { steps: path.split("/").filter(Boolean), query: new URLSearchParams(query) };
}

export function usePlace() {
  const [at, setAt] = useState(place());
  useEffect(() => {
    const listener = () => {
      // From now on a new page takes the focus; the first page of all takes none from the browser.
      document.body.dataset.moved = "yes";
      setAt(place());
    };
    addEventListener("hashchange", listener);
    return () => removeEventListener("hashchange", listener);
  }, []);
  return at;
}

export function go(to) {
  location.hash = `#/${to}`;
}
