/* Every page by the first step of its address. */
import { Account } from "./account.js";
import { Devices } from "./devices.js";
import { Filter } from "./filter.js";
import { Health } from "./health.js";
import { History } from "./history.js";
import { Overview } from "./overview.js";
import { Review } from "./review.js";
import { Rules } from "./rules.js";
import { Schedule } from "./schedule.js";
import { Why } from "./why.js";

export const pages = {
  overview: Overview,
  devices: Devices,
  filters: Filter,
  schedule: Schedule,
  why: Why,
  rules: Rules,
  history: History,
  health: Health,
  account: Account,
  review: Review,
};
