/* Every page by the first step of its address. */
import { Account } from "./account.js";
import { Filter } from "./filter.js";
import { Health } from "./health.js";
import { History } from "./history.js";
import { Overview } from "./overview.js";
import { Review } from "./review.js";
import { Rules } from "./rules.js";
import { Schedule } from "./schedule.js";

export const pages = {
  overview: Overview,
  filters: Filter,
  schedule: Schedule,
  rules: Rules,
  history: History,
  health: Health,
  account: Account,
  review: Review,
};
