// Runs the SQL statements of its arguments in the current folder and prints, as one JSON array, the rows of each.
import { DuckDBInstance } from "@duckdb/node-api";

const connection = await (await DuckDBInstance.create()).connect();
const results = [];
for (const statement of process.argv.slice(2)) {
  const reader = await connection.runAndReadAll(statement);
  results.push(reader.getRowsJson());
}
console.log(JSON.stringify(results));
