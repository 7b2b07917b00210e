#include "cli/serve/http/Answer.h"

namespace cli::serve {

Answer answerOf(const Json& json) {
  Answer answer;
  answer.type = "application/json";
  answer.text = textOf(json);
  return answer;
}

Answer answerOf(const Problem& problem) {
  Answer answer;
  answer.status = problem.status;
  answer.type = "application/problem+json";
  answer.fields = problem.fields;
  answer.text = textOf(toJson(problem));
  return answer;
}

}  // namespace cli::serve
