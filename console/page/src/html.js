/* htm on preact: the one way in which markup is made here. No text ever becomes markup. */
import htm from "htm";
import { h } from "preact";

export const html = htm.bind(h);
