/* What the pages' sources have to keep to. Nothing may turn text into markup or code. */
import js from "@eslint/js";
import globals from "globals";

const forbidden = (object, property) => ({
  object,
  property,
  message: "Text never becomes markup or code here.",
});

export default [
  js.configs.recommended,
  {
    files: ["**/*.js"],
    languageOptions: { ecmaVersion: 2023, sourceType: "module", globals: globals.browser },
    linterOptions: { reportUnusedDisableDirectives: "error" },
    rules: {
      curly: ["error", "multi-line"],
      eqeqeq: "error",
      "max-lines": ["error", 450],
      "max-lines-per-function": ["error", { max: 70, skipComments: true }],
      "no-console": "error",
      "no-eval": "error",
      "no-implied-eval": "error",
      "no-new-func": "error",
      "no-restricted-properties": [
        "error",
        forbidden("document", "write"),
        forbidden("document", "writeln"),
      ],
      "no-restricted-syntax": [
        "error",
        {
          selector: "MemberExpression[property.name=/^(innerHTML|outerHTML|insertAdjacentHTML)$/]",
          message: "Text never becomes markup here.",
        },
        {
          selector: "Identifier[name='dangerouslySetInnerHTML']",
          message: "Text never becomes markup here.",
        },
      ],
      "no-shadow": "error",
      "no-var": "error",
      "object-shorthand": "error",
      "prefer-const": "error",
      "prefer-template": "error",
    },
  },
];
